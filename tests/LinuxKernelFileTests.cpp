#include <gtest/gtest.h>
#include <sys/stat.h>

#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Kernel/KernelText.h"
#include "tests/fakes/TemporaryTree.h"

namespace zqm {
namespace {

TEST(LinuxKernelFile, ShowsThePresentContent) {
    TemporaryTree tree;
    KernelFile file(tree.path("stat"));
    for (const std::string& content : {std::string(10'000, 'a'), std::string("short")}) {  // more than the first buffer
        tree.write("stat", content);
        EXPECT_EQ(file.read(), content);
    }
    tree.write("other", "replaced");
    std::filesystem::rename(tree.path("other"), tree.path("stat"));
    EXPECT_EQ(file.read(), "replaced");
    tree.remove("stat");
    EXPECT_EQ(file.read(), std::nullopt);
}

TEST(LinuxKernelFile, FindsAFileThatAppearsLater) {
    // Reads that have failed when it appears, and those that it then takes to be found: eager ones first, then each
    // 30th.
    for (const auto& [failed, found] : {std::pair{0, 1}, {2, 1}, {3, 28}, {30, 1}, {31, 30}, {61, 30}}) {
        TemporaryTree tree;
        KernelFile file(tree.path("late"));
        for (int i = 0; i < failed; ++i) ASSERT_EQ(file.read(), std::nullopt);
        tree.write("late", "here");
        int reads = 1;
        while (reads < 99 && !file.read()) ++reads;
        EXPECT_EQ(reads, found) << failed;
    }
}

TEST(LinuxKernelFile, GivesNothingForWhatIsNoPlainFile) {
    TemporaryTree tree;
    ASSERT_EQ(::mkfifo(tree.path("fifo").c_str(), 0600), 0);
    for (const std::string& path : {tree.root(), tree.path("fifo"), std::string("/dev/zero")}) {
        KernelFile file(path);
        for (int i = 0; i < 40; ++i) EXPECT_EQ(file.read(), std::nullopt) << path;
    }
}

TEST(LinuxKernelText, ParsesListsOfNumbers) {
    using Numbers = std::vector<unsigned>;
    EXPECT_EQ(parseNumberList("8,1,0-3\n", 64), (Numbers{0, 1, 2, 3, 8}));
    EXPECT_EQ(parseNumberList("62-18446744073709551615,3-", 64), (Numbers{3, 62, 63}));
    for (const char* text : {"\n", "x", "-", "4-2", "64", "-1"})
        EXPECT_EQ(parseNumberList(text, 64), Numbers{}) << text;
}

TEST(LinuxKernelText, IsTrimmedOfBlanksAtItsEndsAlone) {
    EXPECT_EQ(trimBlanks(std::string_view("\x7F \t1.2 GHz\xC2\xA0\r\n\0", 15)), "1.2 GHz\xC2\xA0");
    EXPECT_EQ(trimBlanks(" \n"), "");
}

TEST(LinuxKernelText, TakesNoWordThatWasCut) {
    std::string_view rest = "one 1\n\ntwo 22 3";
    for (const char* line : {"one 1", "", "two 22"}) EXPECT_EQ(takeLine(rest), line);
    EXPECT_EQ(takeLine(rest), std::nullopt);
    EXPECT_EQ(takeLine(rest = "cut"), "");
}

}  // namespace
}  // namespace zqm
