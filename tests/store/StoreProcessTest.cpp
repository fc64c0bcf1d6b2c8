// SPDX-License-Identifier: Apache-2.0
// Stores that several programs use, that are killed while they write, and whose disc fails: calls of the C library are
// overridden here.
#include "../support/Files.hpp"
#include "../support/Messages.hpp"
#include "RandomValues.hpp"
#include "store/EditStore.hpp"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <dlfcn.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <optional>
#include <string_view>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

/// The calls that write until one fails; negative: none fails. For good: all that follow fail, too.
int callsUntilFailure = -1;
bool failingForGood = false;
int failingWith = EIO;
bool failed = false;
bool sharedMemory = true; // whether the file system has it

bool failsNow() {
    if (callsUntilFailure < 0) return false;
    if (callsUntilFailure > 0) {
        --callsUntilFailure;
        return false;
    }
    if (!failingForGood) callsUntilFailure = -1;
    failed = true;
    errno = failingWith;
    return true;
}

template <class Function>
Function* real(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

// The system outlives the processes that are killed here, so nothing has to reach the disc.
extern "C" int fsync(int) { return failsNow() ? -1 : 0; }
extern "C" int fdatasync(int) { return failsNow() ? -1 : 0; }
extern "C" int ftruncate64(int file, off64_t size) noexcept {
    return failsNow() ? -1 : real<int(int, off64_t)>("ftruncate64")(file, size);
}
extern "C" ssize_t pwrite64(int file, const void* bytes, size_t count, off64_t offset) {
    return failsNow() ? -1 : real<ssize_t(int, const void*, size_t, off64_t)>("pwrite64")(file, bytes, count, offset);
}
extern "C" int open64(const char* path, int flags, ...) {
    if (!sharedMemory && std::string_view(path).ends_with("-shm")) {
        errno = EACCES;
        return -1;
    }
    va_list rest;
    va_start(rest, flags);
    const auto mode = va_arg(rest, mode_t); // anything, where none is given and needed
    va_end(rest);
    return real<int(const char*, int, ...)>("open64")(path, flags, mode);
}
extern "C" ssize_t write(int file, const void* bytes, size_t count) {
    return failsNow() ? -1 : real<ssize_t(int, const void*, size_t)>("write")(file, bytes, count);
}

namespace corvane::test {
namespace {

constexpr std::uint32_t Fragments = 3;
constexpr std::size_t Points = 2000;
const char *const Class = "Classification", *const Mask = "Mask";

EditStore begun(const std::string& path, EditStore::Options options) {
    EditStore store = EditStore::create(path, {1, 2, 3}, options);
    if (store.fields().empty()) store.commit({.begun = {{.name = Class}, {.name = Mask, .origin = Origin::Zeros}}});
    return store;
}

/// After n edits all values are n; what is acknowledged is the number of edits.
Commit nextEdit(std::size_t n) {
    const Values before(Points, std::byte(n)), after(Points, std::byte(n + 1));
    Commit commit;
    commit.update = {1, fmt::format("[{}]", n)};
    for (const char* field : {Class, Mask}) {
        std::vector<ChangedFragment> changes;
        for (std::uint32_t i = 0; i < Fragments; ++i) changes.push_back({i, FragmentChange::between(1, before, after)});
        commit.steps.push_back({field, 1, "Edit/Something", "", Points, changes});
    }
    commit.entries = {{"edits", Values{std::byte(n + 1)}}};
    return commit;
}

/// How many edits are stored. All of each is there, or nothing.
std::size_t edits(const EditStore& store) {
    if (store.fields().empty()) return 0;
    const auto steps = store.steps(Class);
    EXPECT_EQ(store.steps(Mask).size(), steps.size());
    EXPECT_EQ(store.updates().size(), steps.size());
    const auto entry = store.entry("edits");
    EXPECT_EQ(entry ? std::size_t((*entry)[0]) : 0, steps.size());
    for (const char* field : {Class, Mask}) {
        EXPECT_EQ(store.findField(field)->present, steps.empty() ? Beginning : store.steps(field).back().id);
        for (std::uint32_t i = 0; i < Fragments; ++i) {
            Values values(Points);
            store.valuesOf(field, i, store.findField(field)->present, values);
            EXPECT_EQ(values, Values(Points, std::byte(steps.size())));
        }
    }
    EXPECT_TRUE(store.check().empty());
    return steps.size();
}

class SharedStore : public testing::TestWithParam<bool> {
protected:
    ~SharedStore() override {
        callsUntilFailure = -1;
        sharedMemory = true;
    }

    const Folder folder;
    const std::string path = folder / "survey.las.edits";
    const EditStore::Options options = {.log = GetParam()};
};

/// A process that runs a function and then waits to be killed; ends with this object.
class Child {
public:
    template <class Function>
    explicit Child(Function function) {
        int pipe[2];
        if (::pipe2(pipe, O_CLOEXEC) != 0) std::abort();
        process_ = fork();
        if (process_ == 0) {
            try {
                function(pipe[1]);
                for (;;) pause();
            } catch (...) {
                _exit(1);
            }
        }
        close(pipe[1]);
        output_ = pipe[0];
    }
    ~Child() {
        if (process_ > 0) end();
        close(output_);
    }

    void end() {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
        process_ = -1;
    }

    /// The next byte that it wrote; none when it ended.
    std::optional<unsigned char> next() const {
        unsigned char byte = 0;
        return read(output_, &byte, 1) == 1 ? std::optional(byte) : std::nullopt;
    }

    pid_t process() const { return process_; }

private:
    pid_t process_ = -1;
    int output_ = -1;
};

void say(int output, std::size_t number) {
    const auto byte = static_cast<unsigned char>(number);
    if (::write(output, &byte, 1) != 1) _exit(1);
}

TEST_P(SharedStore, hasOneWriterAtATime) {
    begun(path, options).close();
    Child child([&](int output) {
        static EditStore store(path, EditStore::Access::Write, options);
        store.commit(nextEdit(0));
        say(output, 1);
    });
    ASSERT_TRUE(child.next());
    for (const auto& open :
         {std::function([&] { EditStore(path, EditStore::Access::Write); }),
          std::function([&] { EditStore::create(path, {}); }), std::function([&] { EditStore::remove(path); })}) {
        const std::string message = messageOf<StoreHeld>(open);
        EXPECT_TRUE(holds(message, fmt::format("is being edited by process {} (test_store)", child.process())))
            << message;
    }
    EXPECT_EQ(edits(EditStore(path, EditStore::Access::Read)), 1u);
    child.end();
    EditStore store(path, EditStore::Access::Write, options);
    EXPECT_EQ(edits(store), 1u);
    EXPECT_THROW(EditStore(path, EditStore::Access::Write), StoreHeld); // in one process, too
    store.commit(nextEdit(1));
    EXPECT_EQ(edits(store), 2u);
    store.close();
    EXPECT_EQ(folder.contents().size(), 1u);
}

TEST(ReadStore, staysAsItWasWhenItWasOpened) {
    const Folder folder;
    const std::string path = folder / "survey.las.edits";
    EditStore store = begun(path, {});
    store.commit(nextEdit(0));
    {
        const EditStore reader(path, EditStore::Access::Read);
        store.commit(nextEdit(1));
        store.commit({.gone = {store.steps(Class)[0].id, store.steps(Mask)[0].id}});
        EXPECT_EQ(edits(reader), 1u);
        store.close(); // gives way to the reader
        EXPECT_EQ(edits(reader), 1u);
    }
    EXPECT_EQ(EditStore(path, EditStore::Access::Read).steps(Class).size(), 1u);
    EXPECT_EQ(folder.contents().size(), 1u); // the last one tidies up
}

TEST_P(SharedStore, keepsWhatWasAcknowledgedWhenItsWriterIsKilled) {
    Dice dice(1);
    std::size_t before = 0;
    for (int i = 0; i < 30; ++i) {
        SCOPED_TRACE(i);
        Child child([&](int output) {
            static EditStore store = begun(path, options);
            for (std::size_t n = store.steps(Class).size(); n < 200; ++n) {
                store.commit(nextEdit(n));
                say(output, n + 1);
                if (n % 7 == 3) { // copies the log, too
                    store.close();
                    new (&store) EditStore(path, EditStore::Access::Write, options);
                }
            }
        });
        std::size_t acknowledged = before;
        for (std::size_t wanted = 1 + dice.below(5); wanted > 0; --wanted)
            if (const auto number = child.next()) acknowledged = *number;
        usleep(static_cast<useconds_t>(dice.below(3000)));
        child.end();
        while (const auto number = child.next()) acknowledged = *number;
        const std::size_t found = edits(EditStore(path, EditStore::Access::Write, options));
        ASSERT_GE(found, acknowledged);
        ASSERT_LE(found, acknowledged + 1);
        before = found;
        if (before > 150) {
            EditStore::remove(path);
            before = 0;
        }
    }
}

/// A short session; returns how many edits were acknowledged.
std::size_t session(const std::string& path, EditStore::Options options) {
    std::size_t acknowledged = 0;
    try {
        EditStore store = begun(path, options);
        acknowledged = store.steps(Class).size();
        for (int i = 0; i < 2; ++i) {
            try {
                store.commit(nextEdit(acknowledged));
                ++acknowledged;
            } catch (const Failure&) {
                if (failingWith == EIO) {
                    EXPECT_THROW(store.commit(nextEdit(acknowledged)), Failure); // which tries nothing
                    EXPECT_FALSE(store.mayWrite());
                }
            }
        }
        store.close();
    } catch (const Failure& failure) {
        EXPECT_TRUE(holds(failure.what(), path)) << failure.what();
    }
    return acknowledged;
}

/// Each call that writes, cuts or syncs fails in turn, once and for good.
TEST_P(SharedStore, keepsWhatWasAcknowledgedWhenTheDiscFails) {
    for (const int error : {EIO, ENOSPC}) {
        for (const bool forGood : {false, true}) {
            int calls = 0;
            for (bool any = true; any; ++calls) {
                SCOPED_TRACE(fmt::format("{}, call {}{}", strerror(error), calls, forGood ? " and all after it" : ""));
                EditStore::remove(path);
                failingWith = error;
                failingForGood = forGood;
                failed = false;
                callsUntilFailure = calls;
                const std::size_t acknowledged = session(path, options);
                callsUntilFailure = -1;
                any = failed;
                if (EditStore::exists(path)) {
                    ASSERT_EQ(edits(EditStore(path, EditStore::Access::Write, options)), acknowledged);
                } else {
                    ASSERT_EQ(acknowledged, 0u);
                }
                ASSERT_EQ(session(path, options), acknowledged + 2);
            }
            EXPECT_GT(calls, 20);
        }
    }
}

/// Also when it was begun where there was some.
TEST_P(SharedStore, needsNoSharedMemory) {
    EditStore first = begun(path, options);
    first.commit(nextEdit(0));
    first.close();
    sharedMemory = false;
    EXPECT_EQ(edits(EditStore(path, EditStore::Access::Read)), 1u);
    EditStore store(path, EditStore::Access::Write, options);
    store.commit(nextEdit(1));
    EXPECT_EQ(folder.contents().size(), 2u); // beside it the lock, and no log
    EXPECT_EQ(edits(EditStore(path, EditStore::Access::Read)), 2u);
    store.commit(nextEdit(2));
    store.close();
    EXPECT_EQ(edits(EditStore(path, EditStore::Access::Read)), 3u);
    EXPECT_EQ(edits(begun(folder / "new.edits", options)), 0u);
    sharedMemory = true;
    EXPECT_EQ(edits(EditStore(path, EditStore::Access::Write, options)), 3u);
}

TEST_P(SharedStore, isReadByThreadsBesideItsCommits) {
    EditStore store = begun(path, options);
    store.commit(nextEdit(0));
    store.commit(nextEdit(1));
    const StepId first = store.steps(Class)[0].id;
    std::atomic<bool> done = false;
    std::atomic<int> read = 0;
    {
        std::vector<std::jthread> readers;
        for (std::uint32_t fragment = 0; fragment < Fragments; ++fragment) {
            readers.emplace_back([&, fragment] {
                while (!done) {
                    Values values(Points);
                    store.valuesOf(Class, fragment, first, values);
                    EXPECT_EQ(values, Values(Points, std::byte{1}));
                    ++read;
                }
            });
        }
        for (int i = 0; i < 20 || read < 100; ++i) {
            store.commit(nextEdit(2));
            store.commit({.undone = {store.steps(Class).back().id, store.steps(Mask).back().id}});
        }
        done = true;
    }
    EXPECT_GE(read, 100);
}

INSTANTIATE_TEST_SUITE_P(Journals, SharedStore, testing::Bool(),
                         [](const auto& log) { return log.param ? "WriteAheadLog" : "RollbackJournal"; });

} // namespace
} // namespace corvane::test
