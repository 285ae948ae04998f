#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace rastrum_host {

// An output file that appears complete or not at all. Writers write to
// tmpPath(), a hidden name in the target's folder with the target's
// extension; commit() renames it, and any side files a writer put beside it
// under the same stem (".prj", ".aux.xml"), into place. Without commit the
// temporary files are removed, so a failure leaves nothing behind.
class AtomicOutput {
public:
    // InputError when the target exists (unless `overwrite`), is a folder, or
    // its folder does not exist.
    AtomicOutput(std::filesystem::path target, bool overwrite);
    AtomicOutput(AtomicOutput const&) = delete;
    AtomicOutput& operator=(AtomicOutput const&) = delete;
    ~AtomicOutput();

    std::filesystem::path const& tmpPath() const { return tmpPath_; }
    void commit();

private:
    // The temporary files: the main one and its side files.
    std::vector<std::filesystem::path> temporaries() const;

    std::filesystem::path target_;
    std::filesystem::path tmpPath_;
    std::string tmpStem_;
    bool overwrite_;
    bool committed_ = false;
};

} // namespace rastrum_host
