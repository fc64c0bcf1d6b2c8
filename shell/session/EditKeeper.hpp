// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "session/FieldChange.hpp"
#include "session/StoredValues.hpp"
#include "survey/Survey.hpp"

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace corvane {

/// Keeps what becomes of a survey in its edit store: classes and other fields that can be edited, masks, the histories
/// of both, labels, and of fragments their boxes and how often each value occurs.
///
/// What is stored can be made again from survey and store, so it may leave memory. Belongs to the update thread.
class EditKeeper {
public:
    /// Puts what the store has into the survey, which was just opened and has no edits yet. With `rebound` the store
    /// belongs to this survey from the next commit on. Throws Failure when the values that were edited are then not
    /// those of the survey.
    /// Histories are put in only where somebody may go back, or the store is written to.
    EditKeeper(std::shared_ptr<const Survey> survey, std::shared_ptr<EditStore> store,
               const std::optional<SurveyIdentity>& rebound, bool histories);
    ~EditKeeper();
    EditKeeper(const EditKeeper&) = delete;
    EditKeeper& operator=(const EditKeeper&) = delete;

    /// Completes the file of the store, so that it can be copied. One in which nothing is kept of the survey goes.
    /// Nothing else may be called after it. Throws Failure.
    void close();

    /// What became of what had happened.
    enum class Kept { Nothing, Moved, Step };

    /// Stores what has changed since the last time as one update, all of it or nothing. `actions` is what led to it, as
    /// JSON; it is kept with a step only, and not where a history was moved in or cleared. Throws Failure.
    Kept commit(const std::string& actions);

    EditStore& store() const { return *store_; }

    /// From now on the present may be in the survey's file already, in part or as a whole.
    void expectHalfSaved() { *halfSaved_ = true; }

private:
    void restore(const StoredField& stored);
    KeptField& begin(const std::string& name, Fiber::Field& field);
    using Versions = std::map<std::uint32_t, StepId>; // by fragment
    void restorePresent(const StoredField& stored, const Versions& present, KeptField& kept, Fiber::Field& field);
    void restoreSteps(const StoredField& stored, const Versions& present, KeptField& kept, Fiber::Field& field);
    void restoreLabels(const std::string& name, Fiber::Field& field);
    void restoreCounts(const std::string& name, KeptField& kept, Fiber::Field& field);
    void restoreBoxes();
    void compareValues() const;

    std::vector<std::string> editableFields() const;
    void addChange(const FieldChange& change, Commit& commit) const;
    void addLabels(const std::string& name, const KeptField& kept, Commit& commit) const;
    void addCounts(const std::string& name, const KeptField& kept, Commit& commit) const;
    void addBoxes(Commit& commit) const;
    void adopt(FieldChange& change, std::span<const StepId> ids);
    StoredFragment fragmentOf(const std::string& name, const KeptField& kept, std::uint32_t number) const;

    std::shared_ptr<const Survey> survey_;
    std::shared_ptr<EditStore> store_;
    std::shared_ptr<std::atomic<bool>> halfSaved_ = std::make_shared<std::atomic<bool>>(false);
    std::map<std::string, KeptField> fields_;
    std::vector<char> hasBox_; // in the store, by fragment
    std::optional<SurveyIdentity> rebound_;
    bool histories_;
    bool open_ = true;
};

} // namespace corvane
