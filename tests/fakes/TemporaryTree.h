#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include <stdlib.h>
#include <unistd.h>

namespace zqm {

/// A directory that stands for a machine's "/", with the files that a test writes below it; removed at the end. It lies
/// in memory where that is possible and TMPDIR says nothing else: the sweeps write a hundred thousand files.
class TemporaryTree {
public:
    TemporaryTree() {
        const bool fitsMemory = !std::getenv("TMPDIR") && ::access("/dev/shm", W_OK) == 0;
        std::string pattern = fitsMemory ? "/dev/shm" : std::filesystem::temp_directory_path().string();
        pattern += "/zqm-tree-XXXXXX";
        if (!::mkdtemp(pattern.data())) throw std::filesystem::filesystem_error("mkdtemp", {});
        root_ = pattern;
    }
    ~TemporaryTree() {
        std::error_code ignored;
        std::filesystem::remove_all(root_, ignored);
    }
    TemporaryTree(const TemporaryTree&) = delete;
    TemporaryTree& operator=(const TemporaryTree&) = delete;

    std::string root() const { return root_.string(); }
    std::string path(std::string_view file) const { return root() + "/" + std::string(file); }
    /// Makes the file and the directories above it, or replaces its content.
    void write(std::string_view file, std::string_view content) const {
        std::filesystem::create_directories(std::filesystem::path(path(file)).parent_path());
        std::ofstream(path(file), std::ios::binary) << content;
    }
    void remove(std::string_view file) const { std::filesystem::remove_all(path(file)); }

private:
    std::filesystem::path root_;
};

}  // namespace zqm
