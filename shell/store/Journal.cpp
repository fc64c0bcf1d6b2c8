// SPDX-License-Identifier: Apache-2.0
#include "store/Journal.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace corvane {
namespace {

constexpr std::uint64_t HeadOfLog = 32, HeadOfPage = 24, SaltInHead = 16; // bytes

/// The eight bytes that a log's beginning is known by; nulls when there is none.
std::array<std::byte, 8> saltOf(const std::string& path) {
    std::array<std::byte, 8> salt{};
    const int log = open(logOf(path).c_str(), O_RDONLY | O_CLOEXEC);
    if (log < 0) return salt;
    if (pread(log, salt.data(), salt.size(), SaltInHead) != static_cast<ssize_t>(salt.size())) salt = {};
    close(log);
    return salt;
}

} // namespace

bool isOnNetwork(const std::string& path) {
    constexpr std::array<std::uint32_t, 8> Network = {
        0x6969,     0x517B,     0xFF534D42, 0xFE534D42,  // NFS, SMB, CIFS
        0x65735546, 0x01021997, 0x00C36400, 0x5346414F}; // FUSE, 9P, Ceph, AFS
    struct statfs about {};
    if (statfs(path.c_str(), &about) != 0) return false;
    return std::ranges::find(Network, static_cast<std::uint32_t>(about.f_type)) != Network.end();
}

std::uint64_t sizeOfFile(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

void chooseJournal(Sqlite& database, bool log, bool sync) {
    if (!log || database.text("PRAGMA journal_mode = WAL") != "wal") {
        database.run("PRAGMA locking_mode = EXCLUSIVE");
        if (const auto mode = database.text("PRAGMA journal_mode = DELETE"); mode != "delete")
            throw Failure(fmt::format("{}: keeps a journal of the kind \"{}\" where \"delete\" is expected; close what "
                                      "else has it open.",
                                      database.path(), mode));
        database.run("PRAGMA locking_mode = NORMAL");
    }
    database.number("SELECT count(*) FROM sqlite_schema"); // which needs the memory, and lets others in again
    database.run(sync ? "PRAGMA synchronous = FULL" : "PRAGMA synchronous = NORMAL");
    database.run("PRAGMA wal_autocheckpoint = 0"); // between commits, not in them
    // What is deleted need not be overwritten: it would double what is written.
    database.run("PRAGMA secure_delete = OFF");
    // Pages of a commit that do not fit into memory are written before its end, and those that change once more make
    // the checksums of all behind them wrong: the log is read again then.
    database.run("PRAGMA cache_size = -32768"); // KiB
}

void GoodLog::watch(Sqlite& database) {
    pageSize_ = static_cast<std::uint64_t>(database.number("PRAGMA page_size"));
    // One that copies as much as it can, and tells how long the log is.
    int pages = 0;
    sqlite3_wal_checkpoint_v2(database.handle(), nullptr, SQLITE_CHECKPOINT_PASSIVE, &pages, nullptr);
    pages_ = std::max(pages, 0); // negative: there is none
    keep(database);
    const auto note = [](void* self, sqlite3*, const char*, int count) {
        static_cast<GoodLog*>(self)->pages_ = count;
        return SQLITE_OK;
    };
    sqlite3_wal_hook(database.handle(), note, this);
}

void GoodLog::keep(const Sqlite& database) {
    goodPages_ = pages_;
    salt_ = saltOf(database.path());
}

void GoodLog::cut(const std::string& path) const {
    const std::string log = logOf(path);
    if (sizeOfFile(log) == 0) return;
    // A log that began anew since then has nothing good in it: what it had before is in the file.
    const bool same = saltOf(path) == salt_ && goodPages_ > 0;
    const std::uint64_t good = same ? HeadOfLog + std::uint64_t(goodPages_) * (HeadOfPage + pageSize_) : 0;
    if (sizeOfFile(log) <= good) return;
    const int file = open(log.c_str(), O_WRONLY | O_CLOEXEC);
    const bool done = file >= 0 && ftruncate(file, static_cast<off_t>(good)) == 0;
    const int error = errno;
    if (file >= 0) {
        fsync(file); // without it the end is what the disc had, of which the checksums of the log decide
        close(file);
    }
    if (!done)
        throw Failure(fmt::format("{}: its end, which may not be on the disc, cannot be cut off: {}. Check the disc.",
                                  log, std::strerror(error)));
}

} // namespace corvane
