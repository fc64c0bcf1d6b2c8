// SPDX-License-Identifier: Apache-2.0
#include "store/StoreState.hpp"

#include "base/ByteCode.hpp"
#include "base/Text.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <iterator>
#include <sqlite3.h>
#include <unistd.h>
#include <utility>

namespace corvane {
namespace {

std::string nameOfNew(const std::string& path) { return path + "-new"; }

/// Makes sure that the name of a file is on the disc.
void syncFolderOf(const std::string& path) {
    const auto parent = std::filesystem::path(path).parent_path();
    const int folder = open(parent.empty() ? "." : parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool synced = folder >= 0 && fsync(folder) == 0;
    const int error = errno;
    if (folder >= 0) close(folder);
    if (!synced)
        throw Failure(fmt::format("{}: syncing its folder failed: {}. Check the disc or the network.", path,
                                  std::strerror(error)));
}

} // namespace

StoreState::~StoreState() {
    try {
        close();
    } catch (const Failure&) {
        // The log is beside the file, and copied into it next time.
    }
}

Sqlite& StoreState::database() const {
    if (!database_) throw Failure(broken_.value_or(fmt::format("{}: is closed.", path_)));
    return *database_;
}

void StoreState::requireWriting() const {
    if (broken_) throw Failure(*broken_);
    if (!lock_) throw Failure(fmt::format("{}: was opened for reading; open it for editing.", path_));
}

void StoreState::openToRead() {
    if (sizeOfFile(path_) == 0)
        throw Failure(fmt::format("{}: is no edit store, or an empty one; check the name.", path_));
    try {
        database_ = std::make_unique<Sqlite>(path_, Sqlite::Mode::Read);
        beginReading();
    } catch (const SqliteFailure& failure) {
        const bool alone = sizeOfFile(logOf(path_)) == 0 && sizeOfFile(journalOf(path_)) == 0;
        if (!failure.needsMemory() || !alone) throw;
        database_.reset();
        database_ = std::make_unique<Sqlite>(path_, Sqlite::Mode::ReadAlone);
        beginReading();
    }
    schema::check(*database_, false);
    load();
}

/// What is read belongs together, whatever others write meanwhile.
void StoreState::beginReading() {
    database_->run("BEGIN");
    database_->number("SELECT count(*) FROM sqlite_schema");
}

/// Under another name, so that there is a store or there is none.
void StoreState::makeStore(const SurveyIdentity& identity) const {
    // What a killed process left, or belonged to a store that was removed.
    for (const auto& name :
         {nameOfNew(path_), journalOf(nameOfNew(path_)), logOf(path_), memoryOf(path_), journalOf(path_)})
        unlink(name.c_str());
    try {
        schema::create(nameOfNew(path_), identity);
        std::error_code error;
        std::filesystem::rename(nameOfNew(path_), path_, error);
        if (error)
            throw Failure(
                fmt::format("{}: cannot be made: {}. Check that you may write to its folder.", path_, error.message()));
    } catch (const Failure&) {
        for (const auto& name : {nameOfNew(path_), journalOf(nameOfNew(path_))}) unlink(name.c_str());
        throw;
    }
    syncFolderOf(path_);
}

void StoreState::connectToWrite(bool log) {
    database_.reset();
    database_ = std::make_unique<Sqlite>(path_, Sqlite::Mode::Write);
    copyLogAtClosing(false); // of what may not be ours
    if (!log) database_->run("PRAGMA locking_mode = EXCLUSIVE");
    schema::check(*database_, true);
    chooseJournal(*database_, log, options_.sync);
}

void StoreState::openToWrite(const SurveyIdentity* created) {
    if (!created && sizeOfFile(path_) == 0)
        throw Failure(fmt::format("{}: is no edit store, or an empty one; check the name.", path_));
    lock_.emplace(path_);
    if (created && sizeOfFile(path_) == 0) makeStore(*created);
    const bool log = options_.log && !isOnNetwork(path_);
    try {
        connectToWrite(log);
    } catch (const SqliteFailure& failure) {
        if (!log || !failure.needsMemory()) throw;
        connectToWrite(false);
    }
    log_.watch(*database_);
    load();
    if (!damage.empty()) throw Failure(damage.front().sentence);
    copyLogAtClosing(true);
    opened_ = true;
}

void StoreState::copyLogAtClosing(bool copy) {
    sqlite3_db_config(database_->handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, copy ? 0 : 1, nullptr);
}

void StoreState::close() {
    std::exception_ptr problem;
    if (database_ && opened_ && mayWrite()) {
        try {
            tidy();
            sqlite3_busy_timeout(database_->handle(), 0); // gives way to readers, and copies what it can
            database_->run("PRAGMA wal_checkpoint(TRUNCATE)");
        } catch (const SqliteFailure&) {
            problem = std::current_exception();
            if (database_) copyLogAtClosing(false); // not once more
        }
    }
    database_.reset();
    lock_.reset();
    if (problem) std::rethrow_exception(problem);
}

void StoreState::leaveSyncToClosing() {
    if (database().text("PRAGMA journal_mode") == "wal") database().run("PRAGMA synchronous = NORMAL");
}

void StoreState::keepCommit() {
    constexpr int ManyPages = 16384; // 64 MiB
    log_.keep(*database_);
    if (log_.pages() < ManyPages) return;
    try {
        database_->run("PRAGMA wal_checkpoint(PASSIVE)");
    } catch (const SqliteFailure& failure) {
        giveUpWriting(failure.what()); // the commit itself stands
    }
}

void StoreState::giveUpWriting(const std::string& why) {
    broken_ = fmt::format("{} Nothing more is written to this store until it is opened again.", why);
    copyLogAtClosing(false);
    database_.reset();
    try {
        log_.cut(path_);
        database_ = std::make_unique<Sqlite>(path_, Sqlite::Mode::Write);
        copyLogAtClosing(false);
        load();
    } catch (const Failure& failure) {
        database_.reset();
        *broken_ += fmt::format(" {}", failure.what());
    }
}

const Line& StoreState::line(const std::string& field) const {
    const auto found = std::ranges::find(lines, field, &Line::name);
    if (found != lines.end()) return *found;
    throw Failure(fmt::format("{}: has no field \"{}\".", path_, escaped(field)));
}

Line& StoreState::line(const std::string& field) {
    return lines[static_cast<std::size_t>(&std::as_const(*this).line(field) - lines.data())];
}

Line* StoreState::findLine(const std::string& field) {
    const auto found = std::ranges::find(lines, field, &Line::name);
    return found == lines.end() ? nullptr : &*found;
}

Line* StoreState::lineOf(StepId step) {
    const auto has = [&](const Line& line) {
        const auto place = line.placeOf(step);
        return place && *place > 0;
    };
    const auto found = std::ranges::find_if(lines, has);
    return found == lines.end() ? nullptr : &*found;
}

std::size_t StoreState::placeOf(const Line& line, StepId version) const {
    if (const auto place = line.placeOf(version)) return *place;
    throw Failure(fmt::format("{}: field \"{}\" has no step {} any more.", path_, escaped(line.name), version));
}

void StoreState::failAt(const Part& part, StepId step, const std::string& what) const {
    const std::string where = step == Beginning ? "what became part of it for good" : fmt::format("step {}", step);
    throw Failure(fmt::format("{}: is damaged: field \"{}\", fragment {}, {}: {}. Take a copy of it from before, if "
                              "there is one; other fragments can still be read.",
                              path_, escaped(part.field), part.fragment, where, what));
}

std::vector<std::byte> StoreState::soundChange(SqliteQuery& rows, const Part& part, StepId step) const {
    if (!rows.next()) failAt(part, step, "its change is missing");
    if (!rows.isSound()) failAt(part, step, "its change does not agree with its checksum");
    const auto bytes = rows.bytes(2);
    return {bytes.begin(), bytes.end()};
}

std::vector<std::byte> StoreState::changeOf(const Line& line, StepId step, std::uint32_t fragment) const {
    auto rows = database().query("SELECT * FROM changes WHERE step = ? AND fragment = ?", {step, fragment});
    return soundChange(rows, {line.name, fragment, line.width}, step);
}

std::vector<std::byte> StoreState::baseOf(const Line& line, std::uint32_t fragment) const {
    auto rows = database().query("SELECT * FROM bases WHERE field = ? AND fragment = ?", {line.id, fragment});
    return soundChange(rows, {line.name, fragment, line.width}, Beginning);
}

std::optional<std::vector<std::byte>> StoreState::valueOf(const char* statement, const std::string& name) const {
    auto rows = database().query(statement, {name});
    if (!rows.next()) return std::nullopt;
    if (!rows.isSound())
        throw Failure(
            fmt::format("{}: is damaged: what is kept under the name \"{}\" does not agree with its checksum. "
                        "Take a copy of it from before, if there is one.",
                        path_, escaped(name)));
    const auto bytes = rows.bytes(1);
    return std::vector(bytes.begin(), bytes.end());
}

std::vector<StoreState::StoredLeg> StoreState::legsBetween(const Line& line, std::uint32_t fragment, std::size_t from,
                                                           std::size_t to) const {
    std::vector<StoredLeg> legs;
    for (const Line::Leg& leg : line.way(fragment, from, to))
        legs.push_back({changeOf(line, leg.step, fragment), leg.step, leg.direction});
    return legs;
}

std::vector<StoreState::StoredLeg> StoreState::legsFromOrigin(const Line& line, std::uint32_t fragment,
                                                              std::size_t to) const {
    std::vector<StoredLeg> legs;
    std::size_t from = line.anchor;
    if (auto summary = summaryBefore(line, fragment, to)) {
        from = *line.placeOf(summary->step);
        legs.push_back(std::move(*summary));
    } else if (line.base.contains(fragment)) {
        legs.push_back({baseOf(line, fragment), Beginning, FragmentChange::Direction::Forward});
    }
    std::ranges::move(legsBetween(line, fragment, from, to), std::back_inserter(legs));
    return legs;
}

FragmentChange StoreState::decoded(const Part& part, const StoredLeg& leg) const {
    try {
        auto change = FragmentChange::decode(leg.bytes);
        if (change.width() == part.width) return change;
        throw BadBytes(fmt::format("values of {} bytes were found where {} are expected", change.width(), part.width));
    } catch (const BadBytes& error) {
        failAt(part, leg.step, error.what());
    }
}

std::optional<FragmentChange> StoreState::sumOf(const Part& part, const std::vector<StoredLeg>& legs) const {
    if (legs.empty()) return std::nullopt;
    const FragmentChange first = decoded(part, legs.front());
    if (legs.size() == 1)
        return legs.front().direction == FragmentChange::Direction::Forward ? first : first.inverted();
    ChangeSum sum(part.width, first.points());
    for (const StoredLeg& leg : legs) {
        try {
            sum.add(decoded(part, leg), leg.direction);
        } catch (const BadBytes& error) {
            failAt(part, leg.step, error.what());
        }
    }
    return sum.result();
}

void StoreState::apply(const Part& part, const StoredLeg& leg, std::span<std::byte> values) const {
    apply(part, decoded(part, leg), leg.step, leg.direction, FragmentChange::Expect::Replaced, values);
}

void StoreState::apply(const Part& part, const FragmentChange& change, StepId step, FragmentChange::Direction direction,
                       FragmentChange::Expect expect, std::span<std::byte> values) const {
    const std::size_t points = values.size() / static_cast<std::size_t>(part.width);
    if (change.points() != points)
        failAt(part, step, fmt::format("its change is of {} points where the survey has {}", change.points(), points));
    if (const auto mismatch = change.apply(values, direction, expect))
        failAt(part, step,
               fmt::format("point {} has the value {} where {} is expected, so the survey is another than the one that "
                           "was edited, or the store is damaged",
                           mismatch->point, mismatch->found, mismatch->expected));
}

} // namespace corvane
