#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include <stdlib.h>

namespace zqm {

/// A directory that stands for a machine's "/", with the files that a test writes below it; removed at the end.
class TemporaryTree {
public:
    TemporaryTree() {
        std::string pattern = (std::filesystem::temp_directory_path() / "zqm-tree-XXXXXX").string();
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
