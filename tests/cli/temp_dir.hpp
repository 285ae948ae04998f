#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>

// A fresh directory for one test, removed with everything in it afterwards.
class TempDir {
public:
    TempDir() {
        auto const* test = ::testing::UnitTest::GetInstance()->current_test_info();
        std::string name = "rastrum_host_" + std::to_string(getpid()) + "_" + test->test_suite_name() + "_" +
                           test->name();
        std::ranges::replace(name, '/', '_');
        path_ = std::filesystem::temp_directory_path() / name;
        std::filesystem::remove_all(path_);
        std::filesystem::create_directories(path_);
    }
    TempDir(TempDir const&) = delete;
    TempDir& operator=(TempDir const&) = delete;
    ~TempDir() { std::filesystem::remove_all(path_); }

    std::filesystem::path const& path() const { return path_; }

private:
    std::filesystem::path path_;
};
