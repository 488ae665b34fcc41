#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <set>

#include "Platform/Posix/PosixFiles.h"
#include "Platform/Posix/PosixSettings.h"

namespace zqm {
namespace {

namespace fs = std::filesystem;
using testing::MatchesRegex;

class FilesTest : public testing::Test {
protected:
    FilesTest() {
        std::string pattern = (fs::temp_directory_path() / "zqm-files-XXXXXX").string();
        directory = ::mkdtemp(pattern.data());
    }
    ~FilesTest() override { fs::remove_all(directory); }
    std::set<std::string> names() const {
        std::set<std::string> found;
        for (const auto& entry : fs::directory_iterator(directory)) found.insert(entry.path().filename());
        return found;
    }

    fs::path directory;
    PosixFiles files;
};

mode_t modeOf(const fs::path& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

TEST_F(FilesTest, ReplacesWholeAndPrivately) {
    const auto file = directory / "token";
    EXPECT_EQ(files.read(file), std::nullopt);
    const std::string content("first\0\n", 7);
    EXPECT_TRUE(files.replace(file, content));
    EXPECT_EQ(files.read(file), content);
    EXPECT_TRUE(files.replace(file, ""));
    EXPECT_EQ(files.read(file), "");
    EXPECT_EQ(modeOf(file), 0600u);
    EXPECT_EQ(names(), std::set<std::string>{"token"});
}

TEST_F(FilesTest, LeavesNothingBehindWhenItFails) {
    fs::create_directories(directory / "taken" / "inside");
    EXPECT_FALSE(files.replace(directory / "taken", "x"));
    EXPECT_FALSE(files.replace(directory / "missing" / "file", "x"));
    EXPECT_EQ(names(), std::set<std::string>{"taken"});
}

TEST_F(FilesTest, ReadsOnlyRegularFilesOfBoundedSize) {
    ::mkfifo((directory / "pipe").c_str(), 0600);
    std::ofstream(directory / "large") << std::string((1 << 20) + 1, 'x');
    std::ofstream(directory / "fits") << std::string(1 << 20, 'x');
    EXPECT_EQ(files.read(directory / "pipe"), std::nullopt);
    EXPECT_EQ(files.read(directory), std::nullopt);
    EXPECT_EQ(files.read(directory / "large"), std::nullopt);
    EXPECT_EQ(files.read(directory / "fits")->size(), 1u << 20);
}

TEST_F(FilesTest, RacingProcessesAgreeOnOneToken) {
    const auto file = directory / "token";
    std::vector<pid_t> children;
    for (char name : {'a', 'b', 'c', 'd'}) {
        const pid_t child = ::fork();
        if (child == 0) {
            std::string token;
            files.exclusively(directory, [&] {
                const auto stored = files.read(file);
                token = stored ? *stored : files.makeUuid();
                if (!stored) files.replace(file, token);
            });
            std::ofstream(directory / std::string(1, name)) << token;
            ::_exit(0);
        }
        children.push_back(child);
    }
    for (pid_t child : children) ::waitpid(child, nullptr, 0);
    const auto token = files.read(file);
    EXPECT_THAT(token.value_or(""), MatchesRegex("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}"));
    for (char name : {'a', 'b', 'c', 'd'}) EXPECT_EQ(files.read(directory / std::string(1, name)), token);
}

TEST_F(FilesTest, ExclusivelyRunsAllTheSameWithoutALock) {
    bool ran = false;
    files.exclusively(directory / "missing", [&] { ran = true; });
    EXPECT_TRUE(ran);
}

TEST_F(FilesTest, UuidsAreRandomOnesOfTheirVersion) {
    const auto uuid = files.makeUuid();
    EXPECT_THAT(uuid, MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
    EXPECT_NE(uuid, files.makeUuid());
}

TEST_F(FilesTest, TheSharedContainerIsMadePrivateOnce) {
    PosixSettings settings;
    const std::string previousHome = settings.environment("HOME").value_or("/");
    const auto home = directory / "home";
    fs::create_directory(home);
    ::setenv("HOME", home.c_str(), 1);
    for (const char* unusable : {"", "relative"}) {
        ::setenv("XDG_DATA_HOME", unusable, 1);
        EXPECT_EQ(settings.sharedContainer("group"), home / ".local/share/group");
    }
    EXPECT_EQ(modeOf(home / ".local"), 0700u);
    EXPECT_EQ(modeOf(home / ".local/share/group"), 0700u);
    ::setenv("XDG_DATA_HOME", directory.c_str(), 1);
    fs::create_directory(directory / "open");
    fs::permissions(directory / "open", fs::perms(0755));
    EXPECT_EQ(settings.sharedContainer("open"), directory / "open");
    EXPECT_EQ(modeOf(directory / "open"), 0755u);
    std::ofstream(directory / "file") << "x";
    EXPECT_EQ(settings.sharedContainer("file"), std::nullopt);
    ::setenv("HOME", previousHome.c_str(), 1);
    ::unsetenv("XDG_DATA_HOME");
    EXPECT_EQ(settings.environment("XDG_DATA_HOME"), std::nullopt);
}

}  // namespace
}  // namespace zqm
