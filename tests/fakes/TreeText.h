#pragma once

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "Support/Text.h"
#include "tests/fakes/TemporaryTree.h"

namespace zqm {

// Linux machines as a text that people read and write; tests/machines/ holds such texts. Each line is one of
//
//     == a name                  another machine begins, in the same text
//     @proc/stat                 a file of the machine; the lines that follow are its content
//     -> ../target               as content: the file is a link; without a target it is there no more
//     = 60                       60 seconds later (without a number one second later): what has changed
//     ? cpu.totalUsage 0.25      what the helper says at the end of that time; a value of JSON, or text without quotes
//     # why                      a comment, on a line of its own or, after two spaces, behind a figure
//
// Blank lines only separate.

struct TreeText {
    struct File {
        std::string path, content;
    };
    struct Figure {
        std::string path, value;
    };
    struct Moment {
        double seconds = 1;
        std::vector<File> files = {};  // stand there from the moment's beginning
        std::vector<Figure> figures = {};
    };
    std::string name;
    std::vector<Moment> moments;
};

inline std::vector<TreeText> parseTrees(std::string_view text) {
    std::vector<TreeText> machines{{.name = "", .moments = {{}}}};
    while (!text.empty()) {
        const bool isWhole = text.find('\n') != text.npos;
        std::string_view line = takeUntil(text, '\n');
        auto& moments = machines.back().moments;
        if (line.starts_with("== ")) {
            if (!moments.front().files.empty()) machines.emplace_back(TreeText{.name = "", .moments = {{}}});
            machines.back().name = line.substr(3);
        } else if (line == "=" || line.starts_with("= ")) {
            moments.push_back({.seconds = parseDouble(line.substr(std::min(line.size(), std::size_t{2}))).value_or(1)});
        } else if (line.starts_with('@')) {
            moments.back().files.push_back({std::string(line.substr(line.starts_with("@/") ? 2 : 1)), ""});
        } else if (line.starts_with("? ")) {
            line = line.substr(2, line.find("  #") - 2);
            std::string path(takeWord(line));
            moments.back().figures.push_back({std::move(path), std::string(trimWhitespace(line))});
        } else if (!line.empty() && !line.starts_with("# ") && !moments.back().files.empty()) {
            moments.back().files.back().content.append(line).append(isWhole ? "\n" : "");
        }
    }
    return machines;
}

/// Whether a path stays below its directory and is short.
inline bool isHarmless(std::string_view path) {
    const auto isPlain = [](unsigned char c) {
        return std::isalnum(c) != 0 || std::string_view("_-.:,/").find(static_cast<char>(c)) != std::string_view::npos;
    };
    return path.size() < 100 && std::count(path.begin(), path.end(), '/') < 12 && path.find("..") == path.npos &&
           !path.starts_with('/') && !path.ends_with('/') && std::all_of(path.begin(), path.end(), isPlain);
}

/// Writes what stands below /proc, /sys, /etc and /usr; anything else is passed over.
inline void writeFiles(const TemporaryTree& tree, const std::vector<TreeText::File>& files) {
    for (const auto& [path, content] : files) {
        const std::string_view top = std::string_view(path).substr(0, path.find('/') + 1);
        if (!isHarmless(path) || (top != "proc/" && top != "sys/" && top != "etc/" && top != "usr/")) continue;
        const std::string target = content.starts_with("->") ? std::string(trimWhitespace(content.substr(2))) : "";
        try {
            if (!content.starts_with("->")) {
                tree.write(path, content);
            } else if (target.empty() || isHarmless(target) || target.starts_with("socket:[")) {
                tree.remove(path);
                std::filesystem::create_directories(std::filesystem::path(tree.path(path)).parent_path());
                if (!target.empty()) std::filesystem::create_symlink(target, tree.path(path));
            }
        } catch (const std::filesystem::filesystem_error&) {
            continue;  // a file stands where a directory would have to, or the other way round
        }
    }
}

}  // namespace zqm
