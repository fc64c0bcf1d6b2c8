// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "store/Sqlite.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace corvane {

/// The names of the files that SQLite keeps beside a database.
inline std::string logOf(const std::string& path) { return path + "-wal"; }
inline std::string journalOf(const std::string& path) { return path + "-journal"; }
inline std::string memoryOf(const std::string& path) { return path + "-shm"; }

/// Bytes in a file; 0 when there is none.
std::uint64_t sizeOfFile(const std::string& path);

/// Whether a file lies on a network drive, where each machine would have a memory of its own.
bool isOnNetwork(const std::string& path);

/// Lets a connection for writing keep a log, for which it needs memory that all who open the file share, or a rollback
/// journal. For that, a log that the file still has can be left only by who is alone with it (locking mode EXCLUSIVE)
/// from the beginning, where there is no such memory. With `sync` each commit is synced.
void chooseJournal(Sqlite& database, bool log, bool sync);

/// Knows how much of the log was committed and synced.
///
/// When a sync fails nobody can tell what of the log is on the disc, and a later one that succeeds does not tell
/// either. Yet the log in the system's memory looks whole to whoever opens the store next. So what is behind the last
/// good commit is cut off.
class GoodLog {
public:
    /// From now on watches this connection, which must end before this object does. What its log holds is good.
    void watch(Sqlite& database);

    /// The last commit was good.
    void keep(const Sqlite& database);

    /// Pages that the log has now.
    int pages() const { return pages_; }

    /// Cuts off what follows. The connection must have ended without copying its log into the file.
    void cut(const std::string& path) const;

private:
    int pages_ = 0; // after the last commit, good or not
    int goodPages_ = 0;
    std::uint64_t pageSize_ = 0;
    std::array<std::byte, 8> salt_{}; // tells the beginnings of the log apart
};

} // namespace corvane
