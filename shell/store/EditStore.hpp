// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/Failure.hpp"
#include "store/StoreRecords.hpp"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace corvane {

/// Something of a store that cannot be read any more. What does not apply is empty.
struct StoreDamage {
    std::string field;
    StepId step = 0;
    std::optional<std::uint32_t> fragment;
    std::string sentence; ///< all of it in words, with the path
};

/// A store cannot be opened because another program writes to it.
struct StoreHeld : Failure {
    using Failure::Failure;
};

class StoreState;
struct Line;

/// The edits of one survey in a file beside it: every version that its fields had since the oldest step that is kept.
///
/// A field is a line: what the survey says (or zeros), then the base, which is beyond undoing, then the changes of the
/// steps in their order. A version is named by the step behind which it stands. Each can be made again from the survey
/// and the store, so undo and redo move a position and write nothing else, and values may leave memory once they are
/// committed.
///
/// One program writes at a time; it holds a lock that goes with its process. Others may read: they see what was
/// committed when they opened, until they close. Reading is safe from several threads, beside a commit, too. Everything
/// throws Failure: with the path, what was found, and what to do. What was read has been compared with its checksum.
class EditStore {
public:
    enum class Access { Read, Write };

    struct Options {
        /// Syncs each commit, so that it survives a power cut. Without it does after a kill only.
        bool sync = true;
        /// A write-ahead log where the file system has shared memory; else a rollback journal, which is slower and lets
        /// readers and the writer wait for each other.
        bool log = true;
        /// After so many changes of a fragment what they come to is stored once more, so that reading does not have to
        /// go through all of them.
        int changesPerSummary = 64;
    };

    /// Whether there is a store in which something was ever committed.
    static bool exists(const std::string& path);

    /// A store for this survey, opened for writing. What is there is kept and must be a store. Throws StoreHeld.
    static EditStore create(const std::string& path, const SurveyIdentity& survey) {
        return create(path, survey, Options());
    }
    static EditStore create(const std::string& path, const SurveyIdentity& survey, Options options);

    /// One that exists. To write, all of its fields and steps must be sound; to read, what is damaged is listed by
    /// `damage`. Throws StoreHeld.
    EditStore(const std::string& path, Access access) : EditStore(path, access, Options()) {}
    EditStore(const std::string& path, Access access, Options options);

    /// Copies the log into the file, as `close` does, but tells nobody when that fails: it is done next time.
    ~EditStore();
    EditStore(EditStore&&) noexcept;
    EditStore& operator=(EditStore&&) = delete;

    /// Copies the log into the file, so that it can be copied by itself (unless others still read), and gives up the
    /// lock. Nothing else may be called after it.
    void close();

    /// Removes the store and all edits in it. Throws StoreHeld.
    static void remove(const std::string& path);

    const std::string& path() const;

    /// Whether commits are possible. Reading only, or writing or syncing failed once: then nothing is tried again, and
    /// what was committed before stands.
    bool mayWrite() const;

    SurveyIdentity identity() const;

    /// In the order in which they were begun.
    std::vector<StoredField> fields() const;
    std::optional<StoredField> findField(const std::string& name) const;

    /// Of one field, or of all; the oldest first.
    std::vector<StoredStep> steps(const std::string& field) const;
    std::vector<StoredStep> steps() const;

    /// The same of one field, for whoever asks behind each update and of long histories.
    std::vector<StepMark> marks(const std::string& field) const;

    /// Throws Failure when it is not there.
    StoredStep step(StepId id) const;

    /// Those that are kept, the oldest first, with those of their steps that are.
    std::vector<StoredUpdate> updates() const;

    /// The actions of an update as JSON.
    std::string actions(UpdateId update) const;

    /// The fragments that a step changed, ascending.
    std::vector<std::uint32_t> fragmentsOf(StepId step) const;

    /// The fragments of a field that differ from the survey in any version, ascending: all others need no store.
    std::vector<std::uint32_t> changedFragments(const std::string& field) const;

    /// Whether a field holds changes that are beyond undoing.
    bool hasBase(const std::string& field) const;

    /// Of each of them the last step up to the present that changed it; Beginning: none did.
    std::map<std::uint32_t, StepId> versions(const std::string& field) const;

    /// Makes a version of a fragment. `values` holds the survey's (for an origin of zeros whatever it likes), then that
    /// version's. A step that became part of the base stands for Beginning; one that vanished is refused. With
    /// `halfSaved` the survey is being written to: of what differs from the present any part may be there already.
    void valuesOf(const std::string& field, std::uint32_t fragment, StepId afterStep, std::span<std::byte> values,
                  bool halfSaved = false) const;

    /// What leads from the survey to a version; none for a fragment that is the same in all versions.
    std::optional<FragmentChange> changeFromOrigin(const std::string& field, std::uint32_t fragment,
                                                   StepId afterStep) const;

    /// What all edits that are kept come to: from the survey before the oldest of them, also when it was saved in place
    /// since, to the present. None for a fragment that none of them changed.
    std::optional<FragmentChange> changeOfAll(const std::string& field, std::uint32_t fragment) const;

    /// What leads from one version to another; none for a fragment that no step between them changed.
    std::optional<FragmentChange> changeBetween(const std::string& field, std::uint32_t fragment, StepId from,
                                                StepId to) const;

    /// By name; those that are damaged are missing, and listed by `check`.
    std::map<std::string, std::vector<std::byte>> attributes(const std::string& field) const;
    std::vector<FragmentBox> boxes() const;

    /// What was counted of the fragments of a field as they are at present.
    std::vector<FragmentCounts> counts(const std::string& field) const;
    std::optional<std::vector<std::byte>> entry(const std::string& name) const;

    /// Stores all of it and syncs, or throws and has stored nothing. It has happened when this returns. What does not
    /// fit is refused: a field that is not there, a step that is not next to the present, a change of another width.
    Committed commit(const Commit& commit);

    /// The same, and closes. It is synced with what closing writes; when that fails it may have happened or not.
    void commitAndClose(const Commit& commit);

    /// For idle moments of a long session: makes reading quick where much was edited, and copies the log into the file.
    /// `close` does so, too.
    void tidy();

    /// Gives the room of what is gone back to the file system.
    void shrink();

    /// What was found damaged at opening.
    const std::vector<StoreDamage>& damage() const;

    /// Reads all of the store and tells what is damaged; what is not can still be read.
    std::vector<StoreDamage> check() const;

private:
    explicit EditStore(std::unique_ptr<StoreState> state);
    const Line& lineWith(StepId step) const; // with the mutex held
    Committed carriedOut(const Commit& commit);

    std::unique_ptr<StoreState> state_;
};

} // namespace corvane
