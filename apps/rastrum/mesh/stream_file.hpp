#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string_view>

namespace rastrum_host {

// A file written in large buffered blocks. A scratch file holds one section
// of a mesh file until the sections are joined, and is removed then.
class StreamFile {
public:
    StreamFile(std::filesystem::path path, bool scratch);
    StreamFile(StreamFile const&) = delete;
    StreamFile& operator=(StreamFile const&) = delete;
    ~StreamFile();

    void write(void const* data, std::size_t bytes);
    void write(std::string_view text) { write(text.data(), text.size()); }
    std::uint64_t size() const { return size_; }
    // Moves what was written to `scratch` to the end of this file; the scratch file is gone then.
    void append(StreamFile& scratch);
    // InputError naming the file when anything failed.
    void close();

private:
    [[noreturn]] void fail() const;

    std::filesystem::path path_;
    bool scratch_;
    std::FILE* file_;
    std::uint64_t size_ = 0;
};

} // namespace rastrum_host
