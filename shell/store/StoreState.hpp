// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "store/EditStore.hpp"
#include "store/Journal.hpp"
#include "store/Line.hpp"
#include "store/Sqlite.hpp"
#include "store/StoreSchema.hpp"
#include "store/WriterLock.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace corvane {

/// An open store: the connection, and in memory what the tables say but for changes, actions and values.
class StoreState {
public:
    struct Update {
        UpdateId id = 0;
        std::int64_t time = 0;
    };

    /// A change as it is stored.
    struct StoredLeg {
        std::vector<std::byte> bytes;
        StepId step; ///< Beginning: a base; that of a summary is the last one in it
        FragmentChange::Direction direction;
    };

    StoreState(std::string path, EditStore::Options options) : path_(std::move(path)), options_(options) {}
    ~StoreState();

    void openToRead();
    void openToWrite(const SurveyIdentity* created); ///< null: it must exist
    void close();

    const std::string& path() const { return path_; }
    Sqlite& database() const; ///< throws when it was lost
    bool mayWrite() const { return lock_ && !broken_; }

    /// Throws Failure unless something can be written.
    void requireWriting() const;

    /// Forgets what is in memory and reads it again.
    void load();

    /// Commits are no more synced by themselves, where copying the log syncs it first.
    void leaveSyncToClosing();

    /// Notes that a commit is on the disc.
    void keepCommit();

    /// Counts a change of a fragment, and when there were many notes that it needs a summary.
    void noteChange(Line& line, std::uint32_t fragment);

    /// Stores what all changes up to the present come to, of the fragments that were noted, and copies the log.
    void tidy();

    const Line& line(const std::string& field) const; ///< throws Failure when there is none
    Line& line(const std::string& field);
    Line* findLine(const std::string& field);

    /// The line that has this step.
    Line* lineOf(StepId step);

    /// Throws Failure when the version is not there.
    std::size_t placeOf(const Line& line, StepId version) const;

    /// The stored changes of a fragment from one place to another; with the mutex held.
    std::vector<StoredLeg> legsBetween(const Line& line, std::uint32_t fragment, std::size_t from,
                                       std::size_t to) const;

    /// Those from what the survey says to a place, the base or a summary first.
    std::vector<StoredLeg> legsFromOrigin(const Line& line, std::uint32_t fragment, std::size_t to) const;

    /// Which fragment it is that changes belong to, for whoever does not hold the mutex.
    struct Part {
        std::string field;
        std::uint32_t fragment;
        int width;
    };

    /// Several changes as one; none when there are none. Like those that follow, it throws a Failure that names the
    /// place of what does not fit, and needs no mutex.
    std::optional<FragmentChange> sumOf(const Part& part, const std::vector<StoredLeg>& legs) const;

    FragmentChange decoded(const Part& part, const StoredLeg& leg) const;

    /// Changes the values of the fragment.
    void apply(const Part& part, const StoredLeg& leg, std::span<std::byte> values) const;
    void apply(const Part& part, const FragmentChange& change, StepId step, FragmentChange::Direction direction,
               FragmentChange::Expect expect, std::span<std::byte> values) const;

    [[noreturn]] void failAt(const Part& part, StepId step, const std::string& what) const;

    std::vector<std::byte> changeOf(const Line& line, StepId step, std::uint32_t fragment) const;
    std::vector<std::byte> baseOf(const Line& line, std::uint32_t fragment) const;

    /// The value that a statement finds under a name in its second column.
    std::optional<std::vector<std::byte>> valueOf(const char* statement, const std::string& name) const;

    /// Runs what writes. When that fails, everything is as before; when it is the disc that failed, nothing more is
    /// written.
    template <class Write>
    auto writing(Write write) {
        requireWriting();
        try {
            return write();
        } catch (const SqliteFailure& failure) {
            failure.isDisc() ? giveUpWriting(failure.what()) : load();
            throw;
        } catch (...) {
            load();
            throw;
        }
    }

    mutable std::mutex mutex; ///< of the connection and of all that is here

    SurveyRow survey;
    std::vector<Line> lines;
    std::vector<Update> updates;
    std::vector<StoreDamage> damage;

private:
    /// What the row of a field says of its steps.
    struct Claim {
        StepId present, anchor;
        std::int64_t steps;
    };

    /// Writing failed, so that nobody knows what is on the disc: nothing more is written, and what is not known to be
    /// there is cut off. Reading goes on if it can.
    void giveUpWriting(const std::string& why);

    void makeStore(const SurveyIdentity& identity) const;
    void connectToWrite(bool log);
    std::optional<StoredLeg> summaryBefore(const Line& line, std::uint32_t fragment, std::size_t to) const;
    void summarise(const Line& line, std::uint32_t fragment);
    void copyLogAtClosing(bool copy);
    std::vector<std::byte> soundChange(SqliteQuery& rows, const Part& part, StepId step) const;
    void beginReading();
    std::vector<Claim> loadLines();
    void loadSteps();
    void loadUpdates();
    void placeLines(const std::vector<Claim>& claims);
    void countRows();
    void note(const std::string& field, StepId step, const std::string& what);

    std::string path_;
    EditStore::Options options_;
    std::optional<WriterLock> lock_; // goes after the connection
    GoodLog log_;
    std::unique_ptr<Sqlite> database_;
    std::set<std::pair<std::int64_t, std::uint32_t>> due_; // fields and fragments that need a summary
    std::uint64_t mostFragments_ = 0;                      // that the file has room for
    bool opened_ = false;                                  // to write, and wholly
    std::optional<std::string> broken_;                    // why nothing is written any more
};

} // namespace corvane
