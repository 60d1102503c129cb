// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "storage/file_replacement.h"

#include "storage/storage_exception.h"
#include "support/folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// The number, from 1, and the error of the call of fsync() that fails.
int failingSync = 0;
int syncError = 0;

}  // namespace

// Replaces the function of the C library.
extern "C" int fsync(int descriptor) {
    if (--failingSync == 0) {
        errno = syncError;
        return -1;
    }
    return static_cast<int>(syscall(SYS_fsync, descriptor));
}

namespace velmora::storage {
namespace {

using testing::ElementsAre;

struct stat GetStatus(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status;
}

std::string ErrorOf(const std::string& path, const std::string& content = {}) {
    try {
        FileReplacement file(path);
        file.GetStream() << content;
        file.Commit();
    } catch (const StorageException& error) {
        return error.what();
    }
    return {};
}

TEST(FileReplacement, ReplacesTheFileBehindALinkAtCommit) {
    const test::Folder folder;
    const std::string old = folder.Write("old", "old");
    const std::string link = folder.PathOf("link");
    std::filesystem::create_symlink("old", link);
    ASSERT_EQ(chmod(old.c_str(), 04640), 0);
    const std::string temporary = ".tessaryn-" + std::to_string(getpid()) + "-0.tmp";
    for (const bool commit : {false, true}) {
        std::optional<FileReplacement> file(link);
        file->GetStream() << "new";
        EXPECT_THAT(folder.List(), ElementsAre(temporary, "link", "old"));
        EXPECT_EQ(GetStatus(folder.PathOf(temporary)).st_mode, S_IFREG | 0600U);
        EXPECT_EQ(folder.Read("old"), "old");
        if (commit) {
            file->Commit();
        }
        file.reset();
        EXPECT_THAT(folder.List(), ElementsAre("link", "old"));
        EXPECT_EQ(folder.Read("old"), commit ? "new" : "old");
    }
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(GetStatus(old).st_mode, S_IFREG | 0640U) << "without the set-user-ID bit";
}

TEST(FileReplacement, FollowsLinksThatLeadToNoFileYet) {
    const test::Folder folder;
    std::filesystem::create_directory(folder.PathOf("sub"));
    std::filesystem::create_symlink("sub/b", folder.PathOf("a"));
    std::filesystem::create_symlink("c", folder.PathOf("sub/b"));
    std::filesystem::create_symlink("loop", folder.PathOf("loop"));
    const mode_t mask = umask(027);
    EXPECT_EQ(ErrorOf(folder.PathOf("a"), "new"), "");
    umask(mask);
    EXPECT_EQ(folder.Read("sub/c"), "new");
    EXPECT_EQ(GetStatus(folder.PathOf("sub/c")).st_mode, S_IFREG | 0640U);
    const std::string loop = folder.PathOf("loop");
    EXPECT_EQ(ErrorOf(loop), "cannot write " + loop + ": Too many levels of symbolic links");
}

TEST(FileReplacement, KeepsOwnerAndGroup) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs the right to give files away";
    }
    const test::Folder folder;
    const std::string path = folder.Write("file", "old");
    ASSERT_EQ(chown(path.c_str(), 65534, 1), 0);
    EXPECT_EQ(ErrorOf(path, "new"), "");
    EXPECT_EQ(GetStatus(path).st_uid, 65534U);
    EXPECT_EQ(GetStatus(path).st_gid, 1U);
}

TEST(FileReplacement, RemovesTemporaryFilesOfEndedProcesses) {
    const test::Folder folder;
    folder.Write(".tessaryn-1-0.tmp", "no process has it locked");
    folder.Write("tessaryn-1-0.tmp", "another name");
    std::filesystem::create_symlink("tessaryn-1-0.tmp", folder.PathOf(".tessaryn-2-0.tmp"));
    FileReplacement first(folder.PathOf("a"));
    FileReplacement second(folder.PathOf("b"));
    const std::string prefix = ".tessaryn-" + std::to_string(getpid());
    EXPECT_THAT(folder.List(),
                testing::UnorderedElementsAre(prefix + "-0.tmp", prefix + "-1.tmp",
                                              ".tessaryn-2-0.tmp", "tessaryn-1-0.tmp"));
    first.Commit();
    EXPECT_EQ(folder.Read("a"), "");
}

TEST(FileReplacement, FailureLeavesTheOldFile) {
    const test::Folder folder;
    const std::string old = folder.Write("old", "old");
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit small{4096, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const std::string error = ErrorOf(old, std::string(100'000, 'x'));
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(error, "cannot write " + old + ": File too large");
    EXPECT_EQ(folder.Read("old"), "old");
    EXPECT_THAT(folder.List(), ElementsAre("old"));
}

TEST(FileReplacement, SyncsTheFileBeforeItIsInPlaceAndThenTheFolder) {
    const test::Folder folder;
    const std::string path = folder.PathOf("file");
    const struct {
        int failing;
        int error;
        std::string message;
        std::string content;
    } cases[] = {
        {1, EIO, "cannot write " + path + ": Input/output error", "old"},
        {2, EIO, "replaced " + path + ", but cannot sync its folder: Input/output error", "new"},
        {1, EINVAL, "", "new"},
        {2, EINVAL, "", "new"},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.failing);
        folder.Write("file", "old");
        failingSync = each.failing;
        syncError = each.error;
        EXPECT_EQ(ErrorOf(path, "new"), each.message);
        EXPECT_LE(failingSync, 0) << "there is no such call";
        EXPECT_EQ(folder.Read("file"), each.content);
        EXPECT_THAT(folder.List(), ElementsAre("file"));
    }
}

TEST(FileReplacement, RefusesWhatIsNotARegularFile) {
    const test::Folder folder;
    const std::string path = folder.PathOf("");
    EXPECT_EQ(ErrorOf(path), "cannot write " + path + ": Is a directory");
    EXPECT_EQ(ErrorOf("/dev/null"), "cannot write /dev/null: not a regular file");
}

}  // namespace
}  // namespace velmora::storage
