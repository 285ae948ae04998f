#pragma once

#include <filesystem>

namespace rastrum_host {

// An output file that appears complete or not at all. Writers write to
// tmpPath(), the target's own name inside a hidden staging folder next to the
// target, so that side files a writer puts beside it (".prj", ".aux.xml", the
// ".bin" a glTF file refers to by name) get their final names too. commit()
// renames them into place, the main file last; without commit the staging
// folder is removed, so a failure leaves nothing behind.
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
    std::filesystem::path target_;
    std::filesystem::path staging_;
    std::filesystem::path tmpPath_;
    bool overwrite_;
};

} // namespace rastrum_host
