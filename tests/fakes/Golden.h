#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace zqm {

inline std::string contentOf(const std::filesystem::path& file) {
    std::ostringstream content;
    content << std::ifstream(file, std::ios::binary).rdbuf();
    return content.str();
}

/// The file of that name in tests/golden/ holds `actual`; with ZQM_UPDATE_GOLDEN=1 it does from now on.
inline void expectGolden(const std::string& name, const std::string& actual) {
    const auto file = std::filesystem::path(ZQM_TEST_DATA) / "golden" / name;
    if (std::getenv("ZQM_UPDATE_GOLDEN")) std::ofstream(file, std::ios::binary) << actual;
    EXPECT_EQ(actual, contentOf(file)) << "see CONTRIBUTING.md, Machines and what must come out";
}

}  // namespace zqm
