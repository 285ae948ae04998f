#include "mesh/stream_file.hpp"

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "core/errors.hpp"

namespace rastrum_host {
namespace {

std::size_t constexpr BlockBytes = std::size_t{1} << 20;

} // namespace

StreamFile::StreamFile(std::filesystem::path path, bool scratch)
    : path_(std::move(path)), scratch_(scratch), file_(std::fopen(path_.c_str(), scratch ? "w+b" : "wb")) {
    if (file_ == nullptr) {
        fail();
    }
    std::setvbuf(file_, nullptr, _IOFBF, BlockBytes);
}

StreamFile::~StreamFile() {
    if (file_ != nullptr) {
        std::fclose(file_);
    }
    if (scratch_) {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }
}

void StreamFile::write(void const* data, std::size_t bytes) {
    if (std::fwrite(data, 1, bytes, file_) != bytes) {
        fail();
    }
    size_ += bytes;
}

void StreamFile::append(StreamFile& scratch) {
    if (std::fflush(scratch.file_) != 0 || std::fseek(scratch.file_, 0, SEEK_SET) != 0) {
        scratch.fail();
    }
    std::vector<char> block(BlockBytes);
    std::size_t got = 0;
    while ((got = std::fread(block.data(), 1, block.size(), scratch.file_)) > 0) {
        write(block.data(), got);
    }
    if (std::ferror(scratch.file_) != 0) {
        scratch.fail();
    }
    std::fclose(scratch.file_);
    scratch.file_ = nullptr;
    std::filesystem::remove(scratch.path_);
    scratch.scratch_ = false;
}

void StreamFile::close() {
    int const status = std::fclose(file_);
    file_ = nullptr;
    if (status != 0) {
        fail();
    }
}

void StreamFile::fail() const {
    throw InputError(path_.filename().string() + ": cannot write the mesh file: " + std::strerror(errno));
}

} // namespace rastrum_host
