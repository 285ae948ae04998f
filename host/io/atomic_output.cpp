#include "io/atomic_output.hpp"

#include <unistd.h>

#include <atomic>
#include <system_error>
#include <vector>

#include "core/errors.hpp"

namespace rastrum_host {
namespace fs = std::filesystem;

namespace {

fs::path folderOf(fs::path const& target) { return target.has_parent_path() ? target.parent_path() : fs::path("."); }

void refuseExisting(fs::path const& target, bool overwrite) {
    std::error_code error;
    if (fs::is_directory(target, error)) {
        throw InputError(target.string() + ": is a folder");
    }
    if (!overwrite && fs::exists(target, error)) {
        throw InputError(target.string() + ": exists already (use --overwrite to replace it)");
    }
}

} // namespace

AtomicOutput::AtomicOutput(fs::path target, bool overwrite) : target_(std::move(target)), overwrite_(overwrite) {
    std::error_code error;
    if (target_.filename().empty()) {
        throw InputError(target_.string() + ": names a folder, not a file");
    }
    if (!fs::is_directory(folderOf(target_), error)) {
        throw InputError(target_.string() + ": the folder " + folderOf(target_).string() + " does not exist");
    }
    refuseExisting(target_, overwrite_);
    static std::atomic<unsigned> counter{0};
    staging_ = folderOf(target_) / (".rastrum-" + std::to_string(::getpid()) + "-" + std::to_string(counter++));
    if (!fs::create_directory(staging_, error)) {
        throw InputError(target_.string() + ": cannot write in " + folderOf(target_).string() + ": " +
                         error.message());
    }
    tmpPath_ = staging_ / target_.filename();
}

AtomicOutput::~AtomicOutput() {
    std::error_code ignored;
    fs::remove_all(staging_, ignored);
}

void AtomicOutput::commit() {
    std::error_code error;
    if (!fs::exists(tmpPath_, error)) {
        throw InputError(target_.string() + ": nothing was written");
    }
    refuseExisting(target_, overwrite_);
    // Side files first, so that the main file never appears without them.
    std::vector<fs::path> files;
    for (auto const& entry : fs::directory_iterator(staging_, error)) {
        if (entry.path() != tmpPath_) {
            files.push_back(entry.path());
        }
    }
    files.push_back(tmpPath_);
    for (auto const& file : files) {
        auto const destination = folderOf(target_) / file.filename();
        fs::rename(file, destination, error);
        if (error) {
            throw InputError(destination.string() + ": cannot be written: " + error.message());
        }
    }
}

} // namespace rastrum_host
