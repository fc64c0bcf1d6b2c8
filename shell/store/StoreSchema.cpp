// SPDX-License-Identifier: Apache-2.0
#include "store/StoreSchema.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

namespace corvane {
namespace schema {
namespace {

struct Table {
    const char *name, *sql;
};

/// As SQLite keeps the texts: a store whose tables differ by a letter is none.
constexpr Table Tables[] = {
    {"survey", "CREATE TABLE survey(id INTEGER PRIMARY KEY, size INTEGER, head INTEGER, modified INTEGER, "
               "fields INTEGER, entries INTEGER, last_step INTEGER, last_update INTEGER, checksum INTEGER)"},
    {"fields", "CREATE TABLE fields(id INTEGER PRIMARY KEY, name TEXT, width INTEGER, origin INTEGER, present INTEGER, "
               "anchor INTEGER, steps INTEGER, attributes INTEGER, base BLOB, checksum INTEGER)"},
    {"bases", "CREATE TABLE bases(field INTEGER, fragment INTEGER, change BLOB, checksum INTEGER, "
              "PRIMARY KEY(field, fragment))"},
    {"updates", "CREATE TABLE updates(id INTEGER PRIMARY KEY, time INTEGER, checksum INTEGER)"},
    {"actions", "CREATE TABLE actions(id INTEGER PRIMARY KEY, actions TEXT, checksum INTEGER)"},
    {"steps", "CREATE TABLE steps(id INTEGER PRIMARY KEY, update_id INTEGER, field INTEGER, time INTEGER, module TEXT, "
              "parameters TEXT, vertices INTEGER, fragments BLOB, checksum INTEGER)"},
    {"changes", "CREATE TABLE changes(step INTEGER, fragment INTEGER, change BLOB, checksum INTEGER, "
                "PRIMARY KEY(step, fragment))"},
    {"summaries", "CREATE TABLE summaries(field INTEGER, fragment INTEGER, step INTEGER, change BLOB, "
                  "checksum INTEGER, PRIMARY KEY(field, fragment, step))"},
    {"attributes", "CREATE TABLE attributes(field INTEGER, name TEXT, value BLOB, checksum INTEGER, "
                   "PRIMARY KEY(field, name))"},
    {"boxes", "CREATE TABLE boxes(fragment INTEGER PRIMARY KEY, box BLOB, checksum INTEGER)"},
    {"counts", "CREATE TABLE counts(field INTEGER, fragment INTEGER, version INTEGER, counts BLOB, checksum INTEGER, "
               "PRIMARY KEY(field, fragment))"},
    {"entries", "CREATE TABLE entries(name TEXT PRIMARY KEY, value BLOB, checksum INTEGER)"}};

/// What leads from version i + 1 to the next; a change of the tables adds one here.
constexpr const char* Upgrades[] = {nullptr};
static_assert(std::size(Upgrades) == Version);

void upgrade(Sqlite& database, std::int64_t version) {
    SqliteTransaction transaction(database);
    for (; version < Version; ++version) database.run(Upgrades[version - 1]);
    database.run(fmt::format("PRAGMA user_version = {}", Version).c_str());
    transaction.commit();
}

} // namespace

void create(const std::string& path, const SurveyIdentity& survey) {
    Sqlite database(path, Sqlite::Mode::Create);
    database.run("PRAGMA synchronous = FULL");
    SqliteTransaction transaction(database);
    for (const Table& table : Tables) database.run(table.sql);
    SurveyRow{.identity = survey}.put(database);
    database.run(fmt::format("PRAGMA application_id = {}; PRAGMA user_version = {}", ApplicationId, Version).c_str());
    transaction.commit();
}

void check(Sqlite& database, bool mayWrite) {
    if (const auto found = database.number("PRAGMA application_id"); found != ApplicationId)
        throw Failure(fmt::format("{}: is a database of another program (application {:#x} where {:#x} is expected); "
                                  "name an edit store.",
                                  database.path(), found, ApplicationId));
    const auto version = database.number("PRAGMA user_version");
    if (version > Version || version < 1)
        throw Failure(fmt::format("{}: is an edit store of version {}, and this program knows those up to {}; nothing "
                                  "was changed. Use the newer program that wrote it.",
                                  database.path(), version, Version));
    if (version < Version && !mayWrite)
        throw Failure(fmt::format("{}: is an edit store of version {} where {} is expected; open it once for editing, "
                                  "which brings it up to date.",
                                  database.path(), version, Version));
    if (version < Version) upgrade(database, version);
    std::size_t tables = 0;
    auto rows = database.query("SELECT type, name, sql FROM sqlite_schema WHERE sql IS NOT NULL");
    for (; rows.next(); ++tables) {
        const std::string name = rows.text(1), sql = rows.text(2);
        const auto* table = std::ranges::find(Tables, name, &Table::name);
        if (rows.text(0) == "table" && table != std::end(Tables) && sql == table->sql) continue;
        throw Failure(fmt::format("{}: is damaged or no edit store: its {} \"{}\" is not as expected. Take a copy of "
                                  "it from before, if there is one.",
                                  database.path(), rows.text(0), name));
    }
    if (tables != std::size(Tables))
        throw Failure(fmt::format("{}: is damaged: {} tables were found where {} are expected. Take a copy of it from "
                                  "before, if there is one.",
                                  database.path(), tables, std::size(Tables)));
}

} // namespace schema

void SurveyRow::put(Sqlite& database) const {
    database.put("INSERT OR REPLACE INTO survey VALUES(?,?,?,?,?,?,?,?,?)",
                 {1, identity.size, identity.headChecksum, identity.modified, fields, entries, lastStep, lastUpdate});
}

} // namespace corvane
