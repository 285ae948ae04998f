#include "atomic_output.hpp"

#include <unistd.h>

#include <atomic>
#include <system_error>

#include "errors.hpp"

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
    tmpStem_ = "." + target_.stem().string() + ".tmp-" + std::to_string(::getpid()) + "-" + std::to_string(counter++);
    tmpPath_ = folderOf(target_) / (tmpStem_ + target_.extension().string());
}

AtomicOutput::~AtomicOutput() {
    if (!committed_) {
        for (auto const& path : temporaries()) {
            std::error_code ignored;
            fs::remove(path, ignored);
        }
    }
}

std::vector<fs::path> AtomicOutput::temporaries() const {
    std::vector<fs::path> found;
    std::error_code error;
    for (auto const& entry : fs::directory_iterator(folderOf(target_), error)) {
        auto const name = entry.path().filename().string();
        if (name.starts_with(tmpStem_) && (name.size() == tmpStem_.size() || name[tmpStem_.size()] == '.')) {
            found.push_back(entry.path());
        }
    }
    return found;
}

void AtomicOutput::commit() {
    std::error_code error;
    if (!fs::exists(tmpPath_, error)) {
        throw InputError(target_.string() + ": nothing was written");
    }
    refuseExisting(target_, overwrite_);
    // Side files first, so that the main file never appears without them.
    auto files = temporaries();
    std::erase(files, tmpPath_);
    files.push_back(tmpPath_);
    for (auto const& file : files) {
        auto const rest = file.filename().string().substr(tmpStem_.size());
        auto const destination = folderOf(target_) / (target_.stem().string() + rest);
        fs::rename(file, destination, error);
        if (error) {
            throw InputError(destination.string() + ": cannot be written: " + error.message());
        }
    }
    committed_ = true;
}

} // namespace rastrum_host
