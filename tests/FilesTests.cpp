#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <future>
#include <set>

#include "Platform/Posix/PosixFiles.h"
#include "Platform/Posix/PosixSettings.h"
#include "tests/fakes/TemporaryTree.h"

namespace zqm {
namespace {

namespace fs = std::filesystem;

struct FilesTest : testing::Test {
    std::set<std::string> names() const {
        std::set<std::string> found;
        for (const auto& entry : fs::directory_iterator(tree.root())) found.insert(entry.path().filename());
        return found;
    }
    mode_t modeOf(std::string_view name) const {
        struct stat status {};
        EXPECT_EQ(::stat(tree.path(name).c_str(), &status), 0) << name;
        return status.st_mode & 07777;
    }

    TemporaryTree tree;
    PosixFiles files;
};

TEST_F(FilesTest, ReplaceWholeAndPrivatelyOrSayWhyNot) {
    const auto file = tree.path("token");
    EXPECT_TRUE(files.read(file).isMissing);
    for (const std::string& content : {std::string("first\0\n", 7), std::string()}) {
        EXPECT_EQ(files.replace(file, content), std::nullopt);
        EXPECT_EQ(files.read(file).text, content);
    }
    EXPECT_EQ(modeOf("token"), 0600u);
    EXPECT_EQ(files.replacePublic(file, "x"), std::nullopt);
    EXPECT_EQ(modeOf("token"), 0644u);
    tree.write("taken/inside", "");
    EXPECT_EQ(files.replace(tree.path("taken"), "x"), tree.path("taken") + ": Is a directory");
    EXPECT_EQ(files.replacePublic("/dev/null", "x"), "/dev/null: not a regular file");
    EXPECT_EQ(files.replace("/nowhere/file", "x"), "/nowhere/file: No such file or directory");
    EXPECT_EQ(names(), (std::set<std::string>{"taken", "token"}));
}

TEST_F(FilesTest, ReadOnlyRegularFilesOfBoundedSize) {
    ::mkfifo(tree.path("pipe").c_str(), 0600);
    tree.write("large", std::string((1 << 20) + 1, 'x'));
    tree.write("fits", std::string(1 << 20, 'x'));
    for (const auto& [name, why] : {std::pair("pipe", ": not a regular file"), {"large", ": larger than 1 MiB"}}) {
        EXPECT_EQ(files.read(tree.path(name)).problem, tree.path(name) + why);
    }
    EXPECT_EQ(files.read(tree.path("fits")).text->size(), 1u << 20);
}

TEST_F(FilesTest, ExclusivelyWaitsForTheOtherToEnd) {
    std::promise<void> entered;
    std::future<void> other;
    files.exclusively(tree.root(), [&](bool) {
        const auto body = [&](bool) { entered.set_value(); };
        other = std::async(std::launch::async, [&, body] { files.exclusively(tree.root(), body); });
        EXPECT_EQ(entered.get_future().wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    });
    other.get();
    bool ran = false;
    files.exclusively(tree.path("missing"), [&](bool isAlone) { ran = isAlone; });
    EXPECT_TRUE(ran) << "without a lock";
}

TEST_F(FilesTest, UuidsAreRandomOnesOfTheirVersion) {
    const auto uuid = files.makeUuid();
    EXPECT_THAT(uuid, testing::MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
    EXPECT_NE(uuid, files.makeUuid());
}

TEST_F(FilesTest, TheSharedContainerIsMadePrivateOnce) {
    PosixSettings settings;
    const std::string previousHome = settings.environment("HOME").value_or("/");
    ::setenv("HOME", tree.root().c_str(), 1);
    for (const char* unusable : {"", "relative"}) {
        ::setenv("XDG_DATA_HOME", unusable, 1);
        EXPECT_EQ(settings.sharedContainer("group").path, tree.path(".local/share/group"));
    }
    for (const char* made : {".local", ".local/share/group"}) EXPECT_EQ(modeOf(made), 0700u);
    ::setenv("XDG_DATA_HOME", tree.path("").c_str(), 1);
    fs::create_directory(tree.path("open"));
    fs::permissions(tree.path("open"), fs::perms(0755));
    EXPECT_EQ(settings.sharedContainer("open").path, tree.path("open"));
    EXPECT_EQ(modeOf("open"), 0755u);
    tree.write("file", "x");
    EXPECT_EQ(settings.sharedContainer("file").problem, tree.path("file") + ": Not a directory");
    ::setenv("HOME", previousHome.c_str(), 1);
    ::unsetenv("XDG_DATA_HOME");
    EXPECT_EQ(settings.environment("XDG_DATA_HOME"), std::nullopt);
}

}  // namespace
}  // namespace zqm
