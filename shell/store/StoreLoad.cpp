// SPDX-License-Identifier: Apache-2.0
// What a store keeps in memory, read from its tables. A row that is damaged or missing is noted; so are fields of which
// a step or an attribute is missing, which are then left out, since nobody can tell what it changed.
#include "base/ByteCode.hpp"
#include "base/Text.hpp"
#include "store/StoreState.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <optional>
#include <utility>

namespace corvane {
namespace {

/// Calls `use(rows)` for each row, which says whether it is as it should be; what is not, is told by `bad(number)` of
/// the first column. Stops where the table cannot be read any further, and tells that as -1.
template <class Use, class Bad>
void forRows(Sqlite& database, const char* statement, Use use, Bad bad) {
    try {
        auto rows = database.query(statement);
        while (rows.next())
            if (!rows.isSound() || !use(rows)) bad(rows.number(0));
    } catch (const SqliteFailure& failure) {
        if (!failure.isDamage()) throw;
        bad(std::int64_t{-1});
    }
}

std::optional<FragmentSet> fragmentsIn(std::span<const std::byte> bytes, std::uint64_t most) {
    try {
        return FragmentSet::decode(bytes, most);
    } catch (const BadBytes&) {
        return std::nullopt;
    }
}

} // namespace

void StoreState::note(const std::string& field, StepId step, const std::string& what) {
    damage.push_back({field, step, std::nullopt,
                      fmt::format("{}: is damaged: {}. Take a copy of it from before, if there is one.", path_, what)});
}

void StoreState::load() {
    constexpr std::uint64_t LeastRow = 8; // bytes; each fragment of a list has a row
    mostFragments_ = static_cast<std::uint64_t>(database().number("PRAGMA page_count")) *
                     static_cast<std::uint64_t>(database().number("PRAGMA page_size")) / LeastRow;
    lines.clear();
    updates.clear();
    damage.clear();
    auto rows = database().query("SELECT * FROM survey WHERE id = 1");
    if (!rows.next() || !rows.isSound())
        throw Failure(fmt::format("{}: is damaged: what it says of its survey does not agree with its checksum. Take a "
                                  "copy of it from before, if there is one.",
                                  path_));
    survey.identity = {static_cast<std::uint64_t>(rows.number(1)), static_cast<std::uint64_t>(rows.number(2)),
                       rows.number(3)};
    survey.fields = rows.number(4);
    survey.entries = rows.number(5);
    survey.lastStep = rows.number(6);
    survey.lastUpdate = rows.number(7);
    const auto claims = loadLines();
    loadUpdates();
    loadSteps();
    placeLines(claims);
    countRows();
}

std::vector<StoreState::Claim> StoreState::loadLines() {
    std::vector<Claim> claims;
    const auto use = [&](const SqliteQuery& rows) {
        Line line;
        line.id = rows.number(0);
        line.name = rows.text(1);
        line.width = static_cast<int>(rows.number(2));
        line.origin = static_cast<Origin>(rows.number(3));
        line.attributes = rows.number(7);
        auto base = fragmentsIn(rows.bytes(8), mostFragments_);
        const bool good = base && (line.width == 1 || line.width == 2) && rows.number(3) >= 0 && rows.number(3) <= 1;
        if (!good) return false;
        line.base = std::move(*base);
        lines.push_back(std::move(line));
        claims.push_back({rows.number(4), rows.number(5), rows.number(6)});
        return true;
    };
    forRows(database(), "SELECT * FROM fields ORDER BY id", use, [&](std::int64_t id) {
        note("", 0, id < 0 ? "the list of its fields" : fmt::format("field {} of its list", id));
    });
    if (survey.fields != std::ssize(lines) && damage.empty())
        note("", 0, fmt::format("{} fields were found where {} are expected", lines.size(), survey.fields));
    return claims;
}

void StoreState::loadUpdates() {
    const auto use = [&](const SqliteQuery& rows) {
        updates.push_back({rows.number(0), rows.number(1)});
        return true;
    };
    forRows(database(), "SELECT * FROM updates ORDER BY id", use,
            [&](std::int64_t id) { note("", 0, id < 0 ? "the list of its updates" : fmt::format("update {}", id)); });
}

void StoreState::loadSteps() {
    const auto use = [&](const SqliteQuery& rows) {
        const auto line = std::ranges::find(lines, rows.number(2), &Line::id);
        auto fragments = fragmentsIn(rows.bytes(7), mostFragments_);
        if (!fragments) return false;
        if (line != lines.end())
            line->steps.push_back({rows.number(0), rows.number(1), rows.number(3), rows.text(4), rows.text(5),
                                   static_cast<std::uint64_t>(rows.number(6)), std::move(*fragments)});
        return line != lines.end() || !damage.empty(); // the field may be what is damaged
    };
    forRows(database(), "SELECT * FROM steps ORDER BY id", use, [&](std::int64_t id) {
        note("", std::max(id, std::int64_t{0}), id < 0 ? "the list of its steps" : fmt::format("step {}", id));
    });
}

/// Turns the steps at which fields stand into places. Leaves out those of which steps are missing.
void StoreState::placeLines(const std::vector<Claim>& claims) {
    std::vector<Line> whole;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        Line& line = lines[i];
        line.folded = line.steps.empty() ? survey.lastStep : line.steps.front().id - 1;
        const auto present = line.placeOf(claims[i].present), anchor = line.placeOf(claims[i].anchor);
        if (std::ssize(line.steps) == claims[i].steps && present && anchor) {
            line.present = *present;
            line.anchor = *anchor;
            whole.push_back(std::move(line));
        } else {
            note(line.name, 0,
                 fmt::format("field \"{}\" has {} sound steps where {} are expected, so none of its edits can be read",
                             escaped(line.name), line.steps.size(), claims[i].steps));
        }
    }
    lines = std::move(whole);
}

/// What can be missing without anybody asking for it by name.
void StoreState::countRows() {
    try {
        for (const Line& line : lines) {
            auto rows = database().query("SELECT count(*) FROM attributes WHERE field = ?", {line.id});
            if (!rows.next() || rows.number(0) != line.attributes)
                note(line.name, 0, fmt::format("field \"{}\" misses attributes", escaped(line.name)));
        }
        if (database().number("SELECT count(*) FROM entries") != survey.entries)
            note("", 0, "entries of its table of entries are missing");
    } catch (const SqliteFailure& failure) {
        if (!failure.isDamage()) throw;
        note("", 0, "its attributes or its entries");
    }
}

} // namespace corvane
