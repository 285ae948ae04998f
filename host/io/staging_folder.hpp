#pragma once

#include <filesystem>
#include <string>

namespace rastrum_host {

// A hidden folder ".rastrum-XXXXXX" next to an output, where writers put the
// output and its side files before they are moved into place.
//
// Names come from mkdtemp, so they never collide, whatever process ids a
// container reuses. The folder is held open under an flock for its lifetime;
// the kernel drops the lock when the process ends, however it ends, so a
// staging folder nobody holds locked is left over from an interrupted run.
// Creating one removes such leftovers from the same folder (only folders of
// plain files, owned by this user).
//
// Once removeStagingOnSignals() has run, SIGINT, SIGTERM and SIGHUP remove
// every live staging folder before the process ends with that signal. The
// handler only reads a fixed table of paths and calls open, getdents64,
// unlinkat, rmdir, signal and raise, all safe in a signal handler. While a
// CommitWindow is open the handler only records the signal; the window acts
// on it when it closes, so that a commit is never cut between its files.
class StagingFolder {
public:
    // In `folder` (empty: the current folder); InputError naming `target`
    // when it cannot be made there.
    StagingFolder(std::filesystem::path const& folder, std::filesystem::path const& target);
    StagingFolder(StagingFolder const&) = delete;
    StagingFolder& operator=(StagingFolder const&) = delete;
    ~StagingFolder(); // removes the folder and what is left in it

    std::filesystem::path const& path() const { return path_; }

private:
    std::filesystem::path path_;
    int descriptor_ = -1; // holds the lock
    int slot_ = -1;       // in the signal handler's table
};

// `text` (a message, a side file) with every staging folder left out of the
// paths in it, so that it names the user's files.
std::string withoutStagingFolders(std::string text);

// Installs the handlers (not where a signal is ignored, e.g. under nohup).
void removeStagingOnSignals();

class CommitWindow {
public:
    CommitWindow();
    CommitWindow(CommitWindow const&) = delete;
    CommitWindow& operator=(CommitWindow const&) = delete;
    ~CommitWindow();
};

} // namespace rastrum_host
