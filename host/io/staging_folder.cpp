#include "io/staging_folder.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>
#include <system_error>

#include "core/errors.hpp"

namespace rastrum_host {
namespace fs = std::filesystem;

namespace {

char const Prefix[] = ".rastrum-";

// The paths the signal handler removes. A slot is Free, Claimed (being
// filled or emptied: the handler leaves it alone) or Live.
enum SlotState : int { Free, Claimed, Live };
struct Slot {
    std::atomic<int> state{Free};
    std::array<char, 4096> path{};
};
std::array<Slot, 64> slots;
std::atomic<int> openCommits{0};
std::atomic<int> deferredSignal{0};

// Removes the plain files of a folder, then the folder; async-signal-safe.
void removeFolder(char const* path) {
    int const folder = ::open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (folder >= 0) {
        alignas(struct dirent64) char buffer[4096];
        for (ssize_t read; (read = ::getdents64(folder, buffer, sizeof buffer)) > 0;) {
            for (ssize_t at = 0; at < read;) {
                auto const* entry = reinterpret_cast<struct dirent64 const*>(buffer + at);
                if (entry->d_type != DT_DIR) {
                    ::unlinkat(folder, entry->d_name, 0);
                }
                at += entry->d_reclen;
            }
        }
        ::close(folder);
    }
    ::rmdir(path);
}

void removeLiveFolders() {
    for (auto& slot : slots) {
        if (slot.state.load() == Live) {
            removeFolder(slot.path.data());
        }
    }
}

void endBySignal(int signal) {
    removeLiveFolders();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

void onSignal(int signal) {
    if (openCommits.load() > 0) {
        deferredSignal.store(signal);
        return;
    }
    endBySignal(signal);
}

int claimSlot(fs::path const& path) {
    std::string const text = path.string();
    for (int i = 0; i < static_cast<int>(slots.size()); ++i) {
        int expected = Free;
        auto& slot = slots[static_cast<std::size_t>(i)];
        if (text.size() < slot.path.size() && slot.state.compare_exchange_strong(expected, Claimed)) {
            std::memcpy(slot.path.data(), text.c_str(), text.size() + 1);
            slot.state.store(Live);
            return i;
        }
    }
    return -1; // more outputs at once than slots: this one is not removed on a signal
}

// A staging folder that nobody holds locked, owned by this user and holding
// plain files only, is a leftover of an interrupted run.
void removeIfLeftOver(fs::path const& candidate) {
    int const folder = ::open(candidate.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (folder < 0) {
        return;
    }
    struct stat status {};
    if (::fstat(folder, &status) == 0 && status.st_uid == ::geteuid() && ::flock(folder, LOCK_EX | LOCK_NB) == 0) {
        std::error_code error;
        bool plainFilesOnly = true;
        for (auto const& entry : fs::directory_iterator(candidate, error)) {
            plainFilesOnly = plainFilesOnly && !entry.is_directory(error);
        }
        if (plainFilesOnly && !error) {
            removeFolder(candidate.c_str());
        }
    }
    ::close(folder);
}

void removeLeftOvers(fs::path const& folder) {
    std::error_code error;
    for (auto const& entry : fs::directory_iterator(folder, error)) {
        if (entry.path().filename().string().starts_with(Prefix) && entry.is_directory(error) &&
            !entry.is_symlink(error)) {
            removeIfLeftOver(entry.path());
        }
    }
}

} // namespace

StagingFolder::StagingFolder(fs::path const& folder, fs::path const& target) {
    removeLeftOvers(folder.empty() ? fs::path(".") : folder);
    // A concurrent run may take an unlocked, just made folder for a leftover:
    // make another one then.
    for (int attempt = 0; attempt < 8 && descriptor_ < 0; ++attempt) {
        std::string name = (folder / (std::string(Prefix) + "XXXXXX")).string();
        if (!::mkdtemp(name.data())) {
            throw InputError(target.string() + ": cannot write in " + (folder.empty() ? "." : folder.string()) + ": " +
                             std::strerror(errno));
        }
        int const descriptor = ::open(name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        struct stat status {};
        if (descriptor >= 0 && ::flock(descriptor, LOCK_EX) == 0 && ::fstat(descriptor, &status) == 0 &&
            status.st_nlink > 0) {
            descriptor_ = descriptor;
            path_ = name;
        } else if (descriptor >= 0) {
            ::close(descriptor);
        }
    }
    if (descriptor_ < 0) {
        throw InputError(target.string() + ": cannot make a staging folder in " + folder.string());
    }
    slot_ = claimSlot(fs::absolute(path_));
}

StagingFolder::~StagingFolder() {
    if (slot_ >= 0) {
        slots[static_cast<std::size_t>(slot_)].state.store(Claimed);
    }
    std::error_code ignored;
    fs::remove_all(path_, ignored);
    ::close(descriptor_);
    if (slot_ >= 0) {
        slots[static_cast<std::size_t>(slot_)].state.store(Free);
    }
}

std::string withoutStagingFolders(std::string text) {
    std::size_t const nameLength = sizeof Prefix - 1 + 6;
    for (auto at = text.find(Prefix); at != std::string::npos; at = text.find(Prefix, at)) {
        if (text.size() > at + nameLength && text[at + nameLength] == '/') {
            text.erase(at, nameLength + 1);
        } else {
            ++at;
        }
    }
    return text;
}

void removeStagingOnSignals() {
    for (int const signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {};
        if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) {
            action.sa_handler = onSignal;
            sigemptyset(&action.sa_mask);
            action.sa_flags = SA_RESTART; // a held signal must not fail the commit's calls
            ::sigaction(signal, &action, nullptr);
        }
    }
}

CommitWindow::CommitWindow() { ++openCommits; }

CommitWindow::~CommitWindow() {
    if (--openCommits == 0) {
        if (int const signal = deferredSignal.exchange(0); signal != 0) {
            endBySignal(signal);
        }
    }
}

} // namespace rastrum_host
