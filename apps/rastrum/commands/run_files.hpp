#pragma once

#include <filesystem>
#include <string>
#include <vector>

// The files a run reads and writes, which must not be one another.
namespace rastrum_host {

// Whether two names reach one file: the same inode, or the same path once
// links and dots are resolved (for files not made yet).
bool sameFile(std::filesystem::path const& a, std::filesystem::path const& b);

// InputError naming both when an output is a file the run reads: writing it
// would destroy the input before, or while, it is read. Empty names are skipped.
void refuseOutputOverInput(std::vector<std::string> const& outputs, std::vector<std::string> const& inputs);

} // namespace rastrum_host
