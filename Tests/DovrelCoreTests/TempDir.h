#pragma once

#include "Foundation/UUID.h"

#include <filesystem>

// A folder that lives as long as the test that made it.
class TempDir {
public:
    TempDir()
        : path_(std::filesystem::temp_directory_path() / ("murmora-test-" + dovrel::makeUUID())) {
        std::filesystem::create_directories(path_);
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};
