#include "io/atomic_output.hpp"

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <system_error>
#include <vector>

#include <cpl_error.h>
#include <cpl_string.h>
#include <gdal.h>

#include "core/errors.hpp"

namespace rastrum_host {
namespace fs = std::filesystem;

namespace {

fs::path folderOf(fs::path const& target) { return target.has_parent_path() ? target.parent_path() : fs::path("."); }

fs::path const& checkedTarget(fs::path const& target, bool overwrite) {
    std::error_code error;
    if (target.filename().empty()) {
        throw InputError(target.string() + ": names a folder, not a file");
    }
    if (!fs::is_directory(folderOf(target), error)) {
        throw InputError(target.string() + ": the folder " + folderOf(target).string() + " does not exist");
    }
    if (fs::is_directory(target, error)) {
        throw InputError(target.string() + ": is a folder");
    }
    if (!overwrite && fs::exists(fs::symlink_status(target, error))) {
        throw InputError(target.string() + ": exists already (use --overwrite to replace it)");
    }
    return target;
}

// Moves `from` to `to` unless `to` exists; errno when it fails.
bool moveWithoutReplacing(fs::path const& from, fs::path const& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
        return true;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return false;
    }
    return ::link(from.c_str(), to.c_str()) == 0 && ::unlink(from.c_str()) == 0;
}

// Side files that are short text (an ENVI ".hdr" names its raster's path)
// get the final path instead of the staging path.
void retargetText(fs::path const& file, std::string const& stagingName) {
    std::error_code error;
    if (fs::file_size(file, error) > (1u << 20) || error) {
        return;
    }
    std::ifstream in(file, std::ios::binary);
    std::string const text{std::istreambuf_iterator<char>(in), {}};
    if (text.find('\0') != std::string::npos || text.find(stagingName) == std::string::npos) {
        return;
    }
    std::ofstream(file, std::ios::binary | std::ios::trunc) << withoutStagingFolders(text);
}

// Whether `file` is named as a side file of `target`: its statistics
// (".aux.xml"), overviews (".ovr"), mask (".msk"), or with the target's stem a
// ".prj", world file or header. Other files a raster lists (a VRT's sources)
// are not its own.
bool sideFileName(fs::path const& file, fs::path const& target) {
    auto const name = file.filename().string();
    auto const stem = target.stem().string() + ".";
    if (name.starts_with(target.filename().string() + ".")) {
        return true;
    }
    static std::vector<std::string> const beside{".prj", ".tfw", ".wld", ".hdr", ".aux"};
    return name.starts_with(stem) && std::ranges::count(name, '.') == std::ranges::count(stem, '.') &&
           std::ranges::find(beside, file.extension().string()) != beside.end();
}

// The side files GDAL reads as part of the raster at `target`: the raster
// that replaces it must not inherit them. None when it is no raster.
std::vector<fs::path> sideFilesOf(fs::path const& target) {
    CPLPushErrorHandler(CPLQuietErrorHandler);
    GDALDatasetH const old = GDALOpenEx(target.c_str(), GDAL_OF_RASTER | GDAL_OF_READONLY, nullptr, nullptr, nullptr);
    CPLPopErrorHandler();
    std::vector<fs::path> files;
    if (!old) {
        return files;
    }
    char** list = GDALGetFileList(old);
    std::error_code error;
    for (char** name = list; name && *name; ++name) {
        if (fs::path const file(*name); sideFileName(file, target) && !fs::equivalent(file, target, error)) {
            files.push_back(file);
        }
    }
    CSLDestroy(list);
    GDALClose(old);
    return files;
}

} // namespace

AtomicOutput::AtomicOutput(fs::path target, bool overwrite)
    : target_(std::move(target)), overwrite_(overwrite), staging_(checkedTarget(target_, overwrite_).parent_path(), target_),
      tmpPath_(staging_.path() / target_.filename()) {}

void AtomicOutput::commit() {
    std::error_code error;
    if (!fs::exists(tmpPath_, error)) {
        throw InputError(target_.string() + ": nothing was written");
    }
    checkedTarget(target_, overwrite_);
    // Side files first, so that the main file never appears without them.
    std::vector<fs::path> files;
    for (auto const& entry : fs::directory_iterator(staging_.path(), error)) {
        if (entry.path() != tmpPath_) {
            files.push_back(entry.path());
            retargetText(entry.path(), staging_.path().filename().string());
        }
    }
    files.push_back(tmpPath_);
    auto const destinationOf = [&](fs::path const& file) { return target_.parent_path() / file.filename(); };
    for (auto const& file : files) {
        if (!overwrite_ && file != tmpPath_ && fs::exists(fs::symlink_status(destinationOf(file), error))) {
            throw InputError(destinationOf(file).string() + ": exists already, and " + target_.string() +
                             " comes with a file of this name (use --overwrite to replace it)");
        }
    }
    auto const stale = overwrite_ ? sideFilesOf(target_) : std::vector<fs::path>();
    CommitWindow const window;
    std::vector<fs::path> moved;
    for (auto const& file : files) {
        auto const destination = destinationOf(file);
        if (overwrite_ ? ::rename(file.c_str(), destination.c_str()) == 0 : moveWithoutReplacing(file, destination)) {
            moved.push_back(destination);
            continue;
        }
        int const reason = errno;
        for (auto const& placed : overwrite_ ? std::vector<fs::path>() : moved) {
            fs::remove(placed, error); // ours: placed without replacing anything
        }
        throw InputError(destination.string() + (reason == EEXIST
                                                      ? ": another run wrote it meanwhile; it is left as it is"
                                                      : ": cannot be written: " + std::string(std::strerror(reason))));
    }
    for (auto const& file : stale) {
        auto const sameName = [&](fs::path const& placed) { return placed.filename() == file.filename(); };
        if (std::ranges::none_of(moved, sameName)) {
            fs::remove(file, error);
        }
    }
}

} // namespace rastrum_host
