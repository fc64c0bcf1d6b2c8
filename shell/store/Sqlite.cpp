// SPDX-License-Identifier: Apache-2.0
#include "store/Sqlite.hpp"

#include "base/ByteCode.hpp"
#include "store/Checksum.hpp"

#include <array>
#include <cstring>
#include <fmt/format.h>
#include <new>
#include <sqlite3.h>
#include <vector>

namespace corvane {
namespace {

constexpr int Patience = 2000; // milliseconds

int primary(int code) { return code & 0xFF; }

/// A name for SQLite that says that nobody changes the file.
std::string nameOfUnchanged(const std::string& path) {
    std::string name = path.starts_with('/') ? "file://" : "file:";
    for (const char c : path) {
        const bool plain = std::isalnum(static_cast<unsigned char>(c)) || std::strchr("/._-", c);
        name += plain ? std::string(1, c) : fmt::format("%{:02X}", static_cast<unsigned char>(c));
    }
    return name + "?immutable=1";
}

int flagsOf(Sqlite::Mode mode) {
    switch (mode) {
    case Sqlite::Mode::ReadAlone:
        return SQLITE_OPEN_READONLY | SQLITE_OPEN_URI;
    case Sqlite::Mode::Create:
        return SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    case Sqlite::Mode::Read: // the last one that closes the file takes away what lies beside it, if it may
    case Sqlite::Mode::Write:
        break;
    }
    return SQLITE_OPEN_READWRITE;
}

std::uint32_t checksumOf(std::span<const SqliteValue> row) {
    std::uint32_t checksum = 0;
    for (const SqliteValue& value : row) {
        std::array<std::byte, 9> head{static_cast<std::byte>(value.kind)};
        const bool integer = value.kind == SqliteValue::Integer;
        const auto number = integer ? static_cast<std::uint64_t>(value.integer) : value.bytes.size();
        std::memcpy(head.data() + 1, &number, sizeof number);
        checksum = crc32Of(value.bytes, crc32Of(head, checksum));
    }
    return checksum;
}

void bindAll(sqlite3_stmt* statement, std::span<const SqliteValue> values, sqlite3_destructor_type lifetime) {
    int place = 0;
    for (const SqliteValue& value : values) {
        ++place;
        // An empty value has an address, too: without one it would be null.
        const char* data = value.bytes.empty() ? "" : reinterpret_cast<const char*>(value.bytes.data());
        if (value.kind == SqliteValue::Integer)
            sqlite3_bind_int64(statement, place, value.integer);
        else if (value.kind == SqliteValue::Text)
            sqlite3_bind_text64(statement, place, data, value.bytes.size(), lifetime, SQLITE_UTF8);
        else
            sqlite3_bind_blob64(statement, place, data, value.bytes.size(), lifetime);
    }
}

std::string sentenceOf(int code, const std::string& path, const std::string& reason) {
    switch (primary(code)) {
    case SQLITE_FULL:
        return fmt::format("{}: cannot be written: the disc is full. Nothing of this was stored; free some space and "
                           "do it again.",
                           path);
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
        return fmt::format("{}: is damaged or no edit store ({}). Take a copy of it from before, if there is one.",
                           path, reason);
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return fmt::format("{}: another program is using it just now ({}). Do it again when that has ended.", path,
                           reason);
    case SQLITE_READONLY:
        return fmt::format("{}: cannot be written ({}). Check that you may write the file and its folder.", path,
                           reason);
    case SQLITE_CANTOPEN:
        return fmt::format("{}: cannot be opened: {}. Check the name, and that you may read and write the file and "
                           "its folder.",
                           path, reason);
    case SQLITE_IOERR:
        return fmt::format("{}: reading or writing failed: {}. Check the disc or the network.", path, reason);
    default:
        return fmt::format("{}: the database says: {} (code {}).", path, reason, code);
    }
}

} // namespace

bool SqliteFailure::isDamage() const { return primary(code) == SQLITE_CORRUPT || primary(code) == SQLITE_NOTADB; }
bool SqliteFailure::isDisc() const { return primary(code) == SQLITE_IOERR; }
bool SqliteFailure::needsMemory() const {
    return code == SQLITE_IOERR_SHMOPEN || code == SQLITE_IOERR_SHMSIZE || code == SQLITE_IOERR_SHMMAP ||
           code == SQLITE_IOERR_SHMLOCK || primary(code) == SQLITE_CANTOPEN || primary(code) == SQLITE_READONLY;
}

void Sqlite::Close::operator()(sqlite3* database) const { sqlite3_close(database); }
void Sqlite::Close::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

Sqlite::Sqlite(std::string path, Mode mode) : path_(std::move(path)) {
    const std::string name = mode == Mode::ReadAlone ? nameOfUnchanged(path_) : path_;
    sqlite3* database = nullptr;
    const int code = sqlite3_open_v2(name.c_str(), &database, flagsOf(mode) | SQLITE_OPEN_NOMUTEX, nullptr);
    database_.reset(database);
    if (!database_) throw std::bad_alloc();
    sqlite3_extended_result_codes(database, 1);
    if (code != SQLITE_OK) fail(sqlite3_extended_errcode(database));
    sqlite3_busy_timeout(database, Patience);
    // The file may come from anybody: what it contains is looked at, and nothing of it is run.
    sqlite3_db_config(database, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
    run("PRAGMA cell_size_check = ON");
    if (mode == Mode::Read) run("PRAGMA query_only = ON");
}

void Sqlite::fail(int code) const {
    if (primary(code) == SQLITE_NOMEM) throw std::bad_alloc();
    const int system = sqlite3_system_errno(database_.get());
    std::string reason = sqlite3_errmsg(database_.get());
    if (system != 0 && (primary(code) == SQLITE_IOERR || primary(code) == SQLITE_CANTOPEN))
        reason = std::strerror(system);
    throw SqliteFailure(sentenceOf(code, path_, reason), code);
}

void Sqlite::run(const char* statements) {
    const int code = sqlite3_exec(handle(), statements, nullptr, nullptr, nullptr);
    if (code != SQLITE_OK) fail(code);
}

sqlite3_stmt* Sqlite::prepared(const char* statement) {
    auto& kept = statements_[statement];
    if (!kept) {
        sqlite3_stmt* made = nullptr;
        const int code = sqlite3_prepare_v3(handle(), statement, -1, SQLITE_PREPARE_PERSISTENT, &made, nullptr);
        if (code != SQLITE_OK) fail(code);
        kept.reset(made);
    }
    return kept.get();
}

void Sqlite::finish(sqlite3_stmt* statement) {
    int code = SQLITE_ROW;
    while (code == SQLITE_ROW) code = sqlite3_step(statement);
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
    if (code != SQLITE_DONE) fail(code);
}

void Sqlite::run(const char* statement, std::initializer_list<SqliteValue> values) {
    sqlite3_stmt* made = prepared(statement);
    bindAll(made, values, SQLITE_STATIC);
    finish(made);
}

void Sqlite::put(const char* statement, std::initializer_list<SqliteValue> values) {
    sqlite3_stmt* made = prepared(statement);
    bindAll(made, values, SQLITE_STATIC);
    sqlite3_bind_int64(made, static_cast<int>(values.size()) + 1, checksumOf(values));
    finish(made);
}

SqliteQuery Sqlite::query(const char* statement, std::initializer_list<SqliteValue> values) {
    sqlite3_stmt* made = prepared(statement);
    bindAll(made, values, SQLITE_TRANSIENT);
    return {*this, made};
}

std::int64_t Sqlite::number(const char* statement) {
    auto rows = query(statement);
    return rows.next() ? rows.number(0) : 0;
}

std::string Sqlite::text(const char* statement) {
    auto rows = query(statement);
    return rows.next() ? rows.text(0) : "";
}

SqliteQuery::~SqliteQuery() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
}

bool SqliteQuery::next() {
    const int code = sqlite3_step(statement_);
    if (code != SQLITE_ROW && code != SQLITE_DONE) database_.fail(code);
    return code == SQLITE_ROW;
}

std::int64_t SqliteQuery::number(int column) const { return sqlite3_column_int64(statement_, column); }

std::span<const std::byte> SqliteQuery::bytes(int column) const {
    const void* data = sqlite3_column_blob(statement_, column);
    return {static_cast<const std::byte*>(data), static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

std::string SqliteQuery::text(int column) const {
    const auto found = bytes(column);
    return {reinterpret_cast<const char*>(found.data()), found.size()};
}

bool SqliteQuery::isSound() const {
    std::vector<SqliteValue> row;
    const int last = sqlite3_column_count(statement_) - 1;
    for (int i = 0; i < last; ++i) {
        const int type = sqlite3_column_type(statement_, i);
        if (type != SQLITE_INTEGER && type != SQLITE_TEXT && type != SQLITE_BLOB) return false;
        row.emplace_back(type == SQLITE_INTEGER ? number(i) : 0);
        if (type == SQLITE_INTEGER) continue;
        row.back().kind = type == SQLITE_TEXT ? SqliteValue::Text : SqliteValue::Bytes;
        row.back().bytes = bytes(i);
    }
    return sqlite3_column_type(statement_, last) == SQLITE_INTEGER && number(last) == checksumOf(row);
}

SqliteTransaction::SqliteTransaction(Sqlite& database) : database_(database) { database_.run("BEGIN IMMEDIATE"); }

SqliteTransaction::~SqliteTransaction() {
    // What failed may have ended the transaction by itself; an error would say no more than that.
    if (open_) sqlite3_exec(database_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void SqliteTransaction::commit() {
    database_.run("COMMIT");
    open_ = false;
}

} // namespace corvane
