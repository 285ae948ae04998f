#pragma once

#include <filesystem>

#include "io/staging_folder.hpp"

namespace rastrum_host {

// An output file that appears complete or not at all. Writers write to
// tmpPath(), the target's own name inside a staging folder next to the target
// (see StagingFolder), so that side files a writer puts beside it (".prj",
// ".aux.xml", ".hdr", the ".bin" a glTF file refers to by name) get their final
// names too. commit() moves them into place, the main file last; without
// commit the staging folder is removed, so a failure leaves nothing behind.
//
// Without `overwrite` nothing is ever replaced: not the target, nor a file
// with a side file's name, not even one another run makes meanwhile (each
// file is moved with renameat2's RENAME_NOREPLACE, or link and unlink where
// the file system lacks it); a commit that would replace one undoes the moves
// it made and fails with InputError.
class AtomicOutput {
public:
    // InputError when the target exists (unless `overwrite`), is a folder, or
    // its folder does not exist.
    AtomicOutput(std::filesystem::path target, bool overwrite);

    std::filesystem::path const& tmpPath() const { return tmpPath_; }
    void commit();

private:
    std::filesystem::path target_;
    bool overwrite_;
    StagingFolder staging_;
    std::filesystem::path tmpPath_;
};

} // namespace rastrum_host
