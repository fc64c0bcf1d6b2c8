// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/Failure.hpp"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace corvane {

/// What the database could not do, as a sentence with the path; `code` is SQLite's extended result code.
struct SqliteFailure : Failure {
    SqliteFailure(const std::string& sentence, int extendedCode) : Failure(sentence), code(extendedCode) {}

    bool isDamage() const;    ///< the file is not what a database looks like
    bool isDisc() const;      ///< reading, writing or syncing failed; a full disc is none of these
    bool needsMemory() const; ///< there may be no shared memory beside the file, as on network drives

    int code;
};

/// A column of a row as it was read, or a value as it is to be bound.
struct SqliteValue {
    SqliteValue(std::integral auto value) : integer(static_cast<std::int64_t>(value)) {}
    SqliteValue(std::string_view value) : kind(Text), bytes(std::as_bytes(std::span(value.data(), value.size()))) {}
    SqliteValue(const std::string& value) : SqliteValue(std::string_view(value)) {}
    SqliteValue(const std::vector<std::byte>& value) : SqliteValue(std::span(value)) {}
    SqliteValue(std::span<const std::byte> value) : kind(Bytes), bytes(value) {}

    enum Kind : std::uint8_t { Integer = 'i', Text = 't', Bytes = 'b' } kind = Integer;
    std::int64_t integer = 0;
    std::span<const std::byte> bytes; ///< borrowed
};

class SqliteQuery;

/// A connection to one database file, for one thread at a time. Statements are prepared once and kept.
///
/// Tables of ours end in a column `checksum`: the CRC-32 of the columns before it, as docs/edit-store.md says.
class Sqlite {
public:
    enum class Mode {
        Read,
        ReadAlone, ///< of a file that nobody changes, in a folder where nothing can be written: no locks, no log
        Write,
        Create ///< makes the file when there is none
    };

    /// Waits a moment when another program is about to finish something. Every operation throws SqliteFailure.
    Sqlite(std::string path, Mode mode);
    Sqlite(const Sqlite&) = delete;
    Sqlite& operator=(const Sqlite&) = delete;

    const std::string& path() const { return path_; }
    sqlite3* handle() const { return database_.get(); }

    /// Statements without values or results.
    void run(const char* statements);

    /// One statement without results, with its values in their order; the text must live as long as this does.
    void run(const char* statement, std::initializer_list<SqliteValue> values);

    /// Puts in a row whose last value, the checksum, is computed of the others.
    void put(const char* statement, std::initializer_list<SqliteValue> values);

    /// The rows that a statement gives. One at a time of the same text.
    SqliteQuery query(const char* statement, std::initializer_list<SqliteValue> values = {});

    /// The one number or text that a statement gives; 0 or nothing when it gives no row.
    std::int64_t number(const char* statement);
    std::string text(const char* statement);

    [[noreturn]] void fail(int code) const;

private:
    struct Close {
        void operator()(sqlite3* database) const;
        void operator()(sqlite3_stmt* statement) const;
    };

    sqlite3_stmt* prepared(const char* statement);
    void finish(sqlite3_stmt* statement);

    std::string path_;
    std::unique_ptr<sqlite3, Close> database_;
    std::map<std::string_view, std::unique_ptr<sqlite3_stmt, Close>> statements_; // gone before the database
};

/// Rows one after the other. What a column gives is valid until the next row.
class SqliteQuery {
public:
    ~SqliteQuery();
    SqliteQuery(const SqliteQuery&) = delete;
    SqliteQuery& operator=(const SqliteQuery&) = delete;

    bool next();
    std::int64_t number(int column) const;
    std::string text(int column) const;
    std::span<const std::byte> bytes(int column) const;

    /// Whether the last column is the checksum of the others; asked before these are read, since damage may have given
    /// them other types.
    bool isSound() const;

private:
    friend class Sqlite;
    SqliteQuery(const Sqlite& database, sqlite3_stmt* statement) : database_(database), statement_(statement) {}

    const Sqlite& database_;
    sqlite3_stmt* statement_;
};

/// Everything between its beginning and `commit`, or nothing.
class SqliteTransaction {
public:
    explicit SqliteTransaction(Sqlite& database);
    ~SqliteTransaction();
    SqliteTransaction(const SqliteTransaction&) = delete;
    SqliteTransaction& operator=(const SqliteTransaction&) = delete;

    void commit();

private:
    Sqlite& database_;
    bool open_ = true;
};

} // namespace corvane
