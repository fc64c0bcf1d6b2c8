// SPDX-License-Identifier: Apache-2.0
// Files that are there whole or not at all, also when the system fails: calls of the C library are overridden here.
#include "base/OutputFile.hpp"
#include "../support/Files.hpp"
#include "../support/Messages.hpp"
#include "base/Failure.hpp"

#include <cerrno>
#include <dlfcn.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <functional>
#include <gtest/gtest.h>
#include <set>
#include <span>
#include <sys/file.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

/// The call that fails with EIO; "fsync of a folder" is another than "fsync". Empty: none.
std::string failing;
bool namelessFiles = true; // whether the file system has them

bool fails(const std::string& call) {
    if (call != failing) return false;
    errno = EIO;
    return true;
}

template <class Function>
Function* real(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" int fsync(int file) {
    struct stat status {};
    const bool folder = fstat(file, &status) == 0 && S_ISDIR(status.st_mode);
    return fails(folder ? "fsync of a folder" : "fsync") ? -1 : real<int(int)>("fsync")(file);
}
extern "C" int fchmod(int file, mode_t mode) noexcept {
    return fails("fchmod") ? -1 : real<int(int, mode_t)>("fchmod")(file, mode);
}
extern "C" int rename(const char* from, const char* to) noexcept {
    return fails("rename") ? -1 : real<int(const char*, const char*)>("rename")(from, to);
}
extern "C" int linkat(int a, const char* from, int b, const char* to, int flags) noexcept {
    return fails("linkat") ? -1 : real<int(int, const char*, int, const char*, int)>("linkat")(a, from, b, to, flags);
}
extern "C" int access(const char* path, int mode) noexcept {
    if (!namelessFiles && std::string(path) == "/proc/self/fd") return -1;
    return real<int(const char*, int)>("access")(path, mode);
}

namespace corvane::test {
namespace {

using Contents = std::map<std::string, std::string>;

/// With files that have no name while they are written, and without.
class WrittenFile : public testing::TestWithParam<bool> {
protected:
    void SetUp() override { namelessFiles = GetParam(); }
    void TearDown() override { failing.clear(); }

    static void fill(OutputFile& file, const std::string& text) { file.write(std::as_bytes(std::span(text))); }

    std::string replace(const std::string& text) const {
        OutputFile file(path, true);
        fill(file, text);
        std::string losses;
        for (const std::string& loss : file.commit()) losses += loss;
        return losses;
    }

    const Folder folder;
    const std::string path = folder / "file";
};

INSTANTIATE_TEST_SUITE_P(, WrittenFile, testing::Bool(),
                         [](const auto& nameless) { return nameless.param ? "nameless" : "named"; });

TEST_P(WrittenFile, appearsWhenItIsCommittedAndGoesWhenItIsNot) {
    {
        OutputFile file(path, false);
        fill(file, "lost");
        EXPECT_EQ(folder.contents().size(), GetParam() ? 0u : 1u) << "under a temporary name";
        EXPECT_FALSE(folder.contents().contains("file"));
    }
    EXPECT_TRUE(folder.contents().empty());
    EXPECT_EQ(replace("first"), "");
    write(folder / "source", "0123456789");
    OutputFile file(path, true);
    fill(file, "ab");
    file.copy(InputFile(folder / "source"), 3, 7);
    fill(file, "cd");
    file.writeAt(1, std::as_bytes(std::span("X", 1)));
    EXPECT_EQ(bytesOf(path), "first");
    file.commit();
    EXPECT_EQ(folder.contents(), (Contents{{"file", "aX3456cd"}, {"source", "0123456789"}}));
}

TEST_P(WrittenFile, ofTwoNewOnesOneWins) {
    OutputFile first(path, false), second(path, false);
    fill(first, "first");
    fill(second, "second");
    first.commit();
    EXPECT_TRUE(holds(messageOf<Failure>([&] { second.commit(); }), "exists already"));
    EXPECT_EQ(bytesOf(path), "first");
    EXPECT_TRUE(holds(messageOf<Failure>([&] { OutputFile(path, false); }), "exists already"));
}

TEST_P(WrittenFile, leavesTheOldOneAndNothingElseWhenACallFails) {
    write(path, "old");
    for (const char* call : {"fsync", "fchmod", "rename", "linkat"}) {
        if (call == std::string("linkat") && !GetParam()) continue;
        failing = call;
        const std::string message = messageOf<Failure>([&] { replace("new"); });
        EXPECT_TRUE(holds(message, "is unchanged")) << call << ": " << message;
        EXPECT_EQ(folder.contents(), (Contents{{"file", "old"}})) << call;
    }
    failing = "fsync of a folder";
    EXPECT_TRUE(holds(messageOf<Failure>([&] { replace("new"); }), "is new and whole"));
    EXPECT_EQ(folder.contents(), (Contents{{"file", "new"}}));
}

TEST_P(WrittenFile, isLikeTheOneThatItReplacesOrTheLossIsTold) {
    write(path, "old");
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    const bool attributes = setxattr(path.c_str(), "user.tile", "7", 1, 0) == 0; // not every file system has them
    if (geteuid() == 0) {
        ASSERT_EQ(chown(path.c_str(), 1234, 4321), 0);
    }
    ASSERT_EQ(link(path.c_str(), (folder / "other").c_str()), 0);
    EXPECT_TRUE(holds(replace("new"), "has 1 other name (hard links), which keep what it held"));
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640u);
    if (geteuid() == 0) {
        EXPECT_TRUE(status.st_uid == 1234 && status.st_gid == 4321);
    }
    char value = 0;
    if (attributes) {
        EXPECT_TRUE(getxattr(path.c_str(), "user.tile", &value, 1) == 1 && value == '7');
    }
    EXPECT_EQ(folder.contents(), (Contents{{"file", "new"}, {"other", "old"}}));
}

TEST_P(WrittenFile, followsLinksThatLeadSomewhere) {
    write(folder / "target", "old");
    std::filesystem::create_symlink("target", path);
    EXPECT_EQ(replace("new"), "");
    EXPECT_TRUE(std::filesystem::is_symlink(path));
    EXPECT_EQ(bytesOf(folder / "target"), "new");
    std::filesystem::remove(folder / "target");
    EXPECT_TRUE(holds(messageOf<UsageError>([&] { checkMayWrite(path, true); }), "is a link to target"));
    EXPECT_TRUE(holds(messageOf<UsageError>([&] { replace("new"); }), "is a link to target"));
}

TEST_P(WrittenFile, replacesNoneThatTheUserMayNotWrite) {
    if (geteuid() != 0) GTEST_SKIP() << "needs root to become somebody else";
    write(path, "old");
    ASSERT_EQ(chmod((folder / "").c_str(), 0777), 0);
    ASSERT_EQ(chmod(path.c_str(), 0444), 0);
    ASSERT_EQ(seteuid(65534), 0);
    const std::string message = messageOf<Failure>([&] { replace("new"); });
    ASSERT_EQ(seteuid(0), 0);
    EXPECT_TRUE(holds(message, "you may not write it")) << message;
    EXPECT_EQ(bytesOf(path), "old");
}

TEST_P(WrittenFile, isRemovedByTheNextWhenItsProcessDied) {
    const pid_t child = fork();
    if (child == 0) {
        OutputFile file(path, false);
        fill(file, "half");
        _exit(0); // as if killed: nothing is destroyed
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    std::string host(256, '\0');
    ASSERT_EQ(gethostname(host.data(), host.size()), 0);
    host = host.c_str();
    const auto name = [&](const std::string& machine, pid_t process, int number) {
        return fmt::format(".corvane.{}.{}.{}", machine, process, number);
    };
    write(folder / name(host, child, 90), "left");
    write(folder / name(host, child, 91), "of a process elsewhere that has the same number");
    write(folder / name(host, getppid(), 92), "of a process that lives");
    write(folder / name(host, getpid(), 94), "left by an earlier process of our number");
    write(folder / name("another-" + host, child, 93), "of another machine");
    const int locked = open((folder / name(host, child, 91)).c_str(), O_RDONLY);
    ASSERT_EQ(flock(locked, LOCK_EX), 0);
    replace("new");
    close(locked);
    std::set<std::string> left;
    for (const auto& [file, contents] : folder.contents()) left.insert(file);
    EXPECT_EQ(left, (std::set<std::string>{"file", name(host, child, 91), name(host, getppid(), 92),
                                           name("another-" + host, child, 93)}));
}

TEST(Temporaries, canBeRemovedBySignalHandlers) {
    namelessFiles = false;
    const Folder folder;
    OutputFile first(folder / "a", false), second(folder / "b", false);
    EXPECT_EQ(folder.contents().size(), 2u);
    removeTemporaries();
    EXPECT_EQ(folder.contents().size(), 0u);
}

TEST(InputFile, isAnotherWhenItWasWrittenToOrReplaced) {
    const Folder folder;
    const std::string path = folder / "file", other = folder / "other";
    const std::vector<std::function<void()>> changes{[&] { write(path, "longer than it was"); },
                                                     [&] { write(path, "BYTES"); },
                                                     [&] {
                                                         write(other, "bytes");
                                                         std::filesystem::rename(other, path);
                                                     },
                                                     [&] { std::filesystem::remove(path); }};
    for (const auto& change : changes) {
        write(path, "bytes");
        const timespec longAgo[2]{{1'000'000'000, 0}, {1'000'000'000, 0}}; // times may have coarse units
        ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), longAgo, 0), 0);
        const InputFile file(path);
        EXPECT_EQ(messageOf<Failure>([&] { file.checkUnchanged(); }), "");
        change();
        EXPECT_TRUE(holds(messageOf<Failure>([&] { file.checkUnchanged(); }), path)) << &change - changes.data();
    }
}

} // namespace
} // namespace corvane::test
