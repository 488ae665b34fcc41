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
    const std::string long1(10'000, 'a');  // more than the first buffer
    tree.write("stat", long1);
    EXPECT_EQ(file.read(), long1);
    tree.write("stat", "short");
    EXPECT_EQ(file.read(), "short");
    tree.write("other", "replaced");
    std::filesystem::rename(tree.path("other"), tree.path("stat"));
    EXPECT_EQ(file.read(), "replaced");
    tree.remove("stat");
    EXPECT_EQ(file.read(), std::nullopt);
}

TEST(LinuxKernelFile, KeepsAFileOfProcfsOpen) {
    auto descriptors = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
    const auto before = descriptors();
    {
        KernelFile file("/proc/self/stat");
        ASSERT_TRUE(file.read());
        EXPECT_EQ(descriptors(), before + 1);
        const std::string first(*file.read());
        EXPECT_EQ(file.read()->substr(0, first.find(' ')), first.substr(0, first.find(' ')));
        EXPECT_EQ(descriptors(), before + 1);
    }
    EXPECT_EQ(descriptors(), before);
}

TEST(LinuxKernelFile, FindsAFileThatAppearsLater) {
    TemporaryTree tree;
    KernelFile file(tree.path("late"));
    for (int i = 0; i < 100; ++i) ASSERT_EQ(file.read(), std::nullopt);
    tree.write("late", "here");
    int reads = 1;
    while (!file.read() && reads < 1000) ++reads;
    EXPECT_LE(reads, 30);
    EXPECT_EQ(file.read(), "here");
}

TEST(LinuxKernelFile, GivesNothingForWhatIsNoPlainFile) {
    TemporaryTree tree;
    std::filesystem::create_directory(tree.path("directory"));
    ASSERT_EQ(::mkfifo(tree.path("fifo").c_str(), 0600), 0);
    for (const std::string& path :
         {tree.path("directory"), tree.path("fifo"), std::string("/dev/zero"), tree.path("missing/file")}) {
        KernelFile file(path);
        for (int i = 0; i < 40; ++i) EXPECT_EQ(file.read(), std::nullopt) << path;
    }
}

TEST(LinuxKernelText, ParsesListsOfNumbers) {
    using Numbers = std::vector<unsigned>;
    EXPECT_EQ(parseNumberList("0-3,8\n", 64), (Numbers{0, 1, 2, 3, 8}));
    EXPECT_EQ(parseNumberList("5,1,1-2", 64), (Numbers{1, 2, 5}));
    EXPECT_EQ(parseNumberList("2-18446744073709551615", 5), (Numbers{2, 3, 4}));
    for (std::string_view text : {"", "\n", "x", "3-", "-", "4-2", "99", "-1"}) {
        EXPECT_EQ(parseNumberList(text, 64), text == "3-" ? Numbers{3} : Numbers{}) << text;
    }
}

TEST(LinuxKernelText, IsTrimmedOfBlanksAtItsEndsAlone) {
    EXPECT_EQ(trimBlanks(std::string_view("\x7F \t1.2 GHz\xC2\xA0\r\n\0", 15)), "1.2 GHz\xC2\xA0");
    EXPECT_EQ(trimBlanks(" \n"), "");
}

TEST(LinuxKernelText, TakesNoWordThatWasCut) {
    std::string_view rest = "one 1\n\ntwo 22 3";
    EXPECT_EQ(takeLine(rest), "one 1");
    EXPECT_EQ(takeLine(rest), "");
    EXPECT_EQ(takeLine(rest), "two 22");
    EXPECT_EQ(takeLine(rest), std::nullopt);
    rest = "cut";
    EXPECT_EQ(takeLine(rest), "");
    EXPECT_EQ(takeLine(rest), std::nullopt);
}

}  // namespace
}  // namespace zqm
