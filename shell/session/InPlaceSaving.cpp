// SPDX-License-Identifier: Apache-2.0
// The order of things is what makes a saving survive being cut off anywhere. The store is a journal of what the file
// becomes, not of what it was: whatever part of a batch is in the file, writing the batch again completes it. Earlier
// batches are in the file, and later ones are found again, since the store still says what was before and what is the
// present, and each value in the file is one of the two.
//
// A file that takes the place of another is either there or not. The store knows both by size and checksum of the head
// before the new one gets its name; where these are the same, the values tell as above.
#include "session/InPlaceSaving.hpp"

#include "Kesh/values/LabelSet.hpp"
#include "base/InPlaceFile.hpp"
#include "session/OpenSaving.hpp"
#include "session/StepList.hpp"
#include "survey/SurveySaver.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

namespace corvane {
namespace {

/// Finds all changes once before the first is written, if they might not fit. Returns the first.
FileRuns firstBatch(const LasFile& las, InPlaceChange& change, const Watch& watch) {
    FileRuns batch = change.next();
    if (change.done() || !las.compression()) return batch;
    while (!change.done()) {
        watch(change.pointsDone(), change.points(), "Looking whether the edits fit");
        change.next();
    }
    change.restart();
    return change.next();
}

/// A change outside the points as bytes that stay where they are. Throws NoRoom where they do not.
OpenSaving savingOf(const LasFile& las, const FileChange& change) {
    FileRuns runs;
    for (const FileChange::Splice& splice : change.splices()) {
        if (splice.end - splice.begin != splice.bytes.size())
            throw NoRoom("it has no record for the names of its classes");
        std::vector<std::byte> before(splice.bytes.size());
        las.file->read(splice.begin, before);
        runs.addDifferences(splice.begin, before, splice.bytes);
    }
    OpenSaving saving;
    saving.runs = std::make_shared<const FileRuns>(std::move(runs));
    saving.becomes = identityOf(las, *saving.runs);
    return saving;
}

class InPlaceSaving {
public:
    /// `begun`: something was written to the file already.
    InPlaceSaving(const EditedSurvey& edited, const Watch& watch, const BatchSize& size, bool begun)
        : survey_(*edited.survey),
          keeper_(*edited.keeper),
          store_(edited.keeper->store()),
          watch_(watch),
          size_(size),
          begun_(begun) {}

    InPlaceSaved save(const Kesh::LabelSet* labels = nullptr);

private:
    void write(InPlaceFile& file);
    void write(InPlaceFile& file, const OpenSaving& saving);
    void replace(const std::string& obstacle);
    void note(const OpenSaving& saving);
    std::string incomplete(const Failure& failure) const;

    const Survey& survey_;
    EditKeeper& keeper_;
    EditStore& store_;
    const Watch& watch_;
    BatchSize size_;
    bool begun_;
    FileChange change_; // outside the points
    InPlaceSaved saved_;
};

/// The present of all fields is what the file with this identity says, and no saving is open. Closes the store.
void commitSaved(EditStore& store, const SurveyIdentity& identity) {
    Commit commit;
    for (const StoredField& field : store.fields())
        if (field.origin == Origin::Survey) commit.saved.push_back(field.name);
    commit.entries = {noOpenSaving(), filePosition(store)};
    commit.identity = identity;
    store.commitAndClose(commit);
}

InPlaceSaved InPlaceSaving::save(const Kesh::LabelSet* labels) {
    if (begun_) keeper_.expectHalfSaved();
    checkMayBeSaved(survey_);
    keeper_.expectHalfSaved();
    if (labels) change_ = changeOfLabels(survey_.las(), *labels, saved_.losses);
    try {
        survey_.las().file->letBeWritten();
        InPlaceFile file(survey_.path()); // until the store says what is in it: nobody reads it meanwhile
        try {
            write(file);
        } catch (const NoRoom& noRoom) {
            replace(noRoom.what());
        }
    } catch (const Interrupted& interrupted) {
        if (!begun_) throw;
        throw Interrupted(incomplete(interrupted));
    } catch (const Failure& failure) {
        if (!begun_) throw;
        throw Failure(incomplete(failure));
    }
    return saved_;
}

std::string InPlaceSaving::incomplete(const Failure& failure) const {
    return fmt::format("{} The saving of {} is not complete; the next command that may write to it or to its edits "
                       "completes it.",
                       failure.what(), survey_.path());
}

void InPlaceSaving::write(InPlaceFile& file) {
    const LasFile& las = survey_.las();
    std::vector<PointRange> edited;
    for (const std::uint32_t number : survey_.editedFragments()) edited.push_back(survey_.ranges()[number]);
    InPlaceChange change(
        las, edited, [this](const PointRange& range) { return survey_.pointEdits(range); }, size_);
    const OpenSaving head = savingOf(las, change_); // which has no room more often, and says so sooner
    FileRuns batch = firstBatch(las, change, watch_);
    file.checkSame(*las.file);
    las.file->checkUnchanged();
    if (!head.runs->empty()) write(file, head);
    for (; !batch.empty(); batch = change.next()) {
        watch_(change.pointsDone(), change.points(), "Saving " + survey_.path());
        OpenSaving saving;
        saving.runs = std::make_shared<const FileRuns>(std::move(batch));
        write(file, saving);
    }
    commitSaved(store_, identityOf(las));
}

void InPlaceSaving::write(InPlaceFile& file, const OpenSaving& saving) {
    note(saving);
    file.write(*saving.runs);
    file.sync();
    saved_.bytes += saving.runs->bytes();
}

void InPlaceSaving::replace(const std::string& obstacle) {
    saved_.obstacle = obstacle;
    const auto noteIt = [this](const std::string& readable) {
        OpenSaving saving;
        saving.becomes = identityOf(LasFile::open(readable));
        saving.begun = begun_;
        note(saving);
    };
    std::ranges::move(replaceSurvey(survey_, change_, watch_, noteIt), std::back_inserter(saved_.losses));
    commitSaved(store_, identityOf(LasFile::open(survey_.path())));
}

/// From now on the store says that it is open.
void InPlaceSaving::note(const OpenSaving& saving) {
    Commit commit;
    commit.entries.push_back(saving.entry());
    commit.identity = identityOf(survey_.las());
    store_.commit(commit);
    begun_ = true;
}

/// Of the file, which must be the store's survey, and is not open afterwards.
SurveyIdentity identityOfSurvey(const EditStore& store, const std::string& path) {
    const LasFile las = LasFile::open(path);
    requireSameSurvey(store, las, {});
    return identityOf(las);
}

} // namespace

InPlaceSaved saveInPlace(EditedSurvey edited, const Kesh::LabelSet* labels, const Watch& watch, const BatchSize& size) {
    edited.keeper->commit("{}"); // of a file with another time: what was known of its other points goes
    InPlaceSaved saved = InPlaceSaving(edited, watch, size, false).save(labels);
    edited.keeper->close();
    return saved;
}

std::string completeSaving(const std::string& path, const std::string& storePath, const SurveyOptions& how,
                           const Watch& watch, const BatchSize& size) {
    const auto store = std::make_shared<EditStore>(storePath, EditStore::Access::Write);
    const auto saving = findOpenSaving(*store);
    if (!saving) return "";
    const SurveyIdentity now = identityOfSurvey(*store, path);
    const bool isOld = sameHead(store->identity(), now), isNew = saving->mayHaveMade(now);
    if (isNew && !isOld) {
        commitSaved(*store, now);
        return fmt::format("{}: the saving that was interrupted had put the new file there already; it is complete.",
                           path);
    }
    if (!isNew && !saving->runs && !saving->begun) {
        Commit commit;
        commit.entries = {noOpenSaving()};
        store->commit(commit);
        store->close();
        return fmt::format("{}: a saving was interrupted before the new file was there; the file is as it was, and its "
                           "edits are kept.",
                           path);
    }
    if (saving->runs) {
        InPlaceFile file(path);
        file.write(*saving->runs);
        file.sync();
    }
    const auto survey = std::make_shared<const Survey>(path, how);
    const EditedSurvey edited{survey, std::make_unique<EditKeeper>(survey, store, std::nullopt, false)};
    InPlaceSaving(edited, watch, size, true).save();
    edited.keeper->close();
    return fmt::format("{}: a saving that was interrupted is complete now.", path);
}

} // namespace corvane
