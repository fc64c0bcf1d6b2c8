// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/Failure.hpp"
#include "base/Watch.hpp"
#include "session/EditKeeper.hpp"

#include <functional>
#include <memory>
#include <string>

namespace corvane {

/// How many steps the histories of a survey keep whose edits are kept.
constexpr int KeptSteps = 10000;

/// A survey cannot be edited since no edit store can be made for it where one is wanted; somewhere else it may be.
struct NoStore : Failure {
    using Failure::Failure;
};

/// How the edit store beside a survey is used.
struct EditStoreOptions {
    std::string path;      ///< empty: beside the survey
    bool original = false; ///< the survey is shown as its file has it
    bool history = false;  ///< whoever only reads may go back through the history, too
    bool rebind = false;   ///< the store is taken for that of a survey with another head, if the values fit
};

/// Where the edits of a survey are kept.
std::string editStorePath(const std::string& survey, const EditStoreOptions& options);

/// As checkMayWrite, for a survey: throws Failure, too, when edits are kept of the file that it would replace.
void checkMayWriteSurvey(const std::string& path, bool overwrite);

/// Throws Failure unless the store belongs to the survey that is this one now, or is taken for it. While a saving is
/// open it belongs to the survey before and after that, and is taken for no other.
void requireSameSurvey(const EditStore& store, const LasFile& las, const EditStoreOptions& options);

/// A survey with the edits that are kept of it. The keeper is null when there are none.
struct EditedSurvey {
    std::shared_ptr<const Survey> survey;
    std::unique_ptr<EditKeeper> keeper;
};

/// Gets what is worth knowing: finished sentences.
using Note = std::function<void(const std::string&)>;

/// Opens a survey to edit it. A store is made where there is none, and a saving that is open is completed before
/// anything else. Throws Failure when the store belongs to another survey, or cannot be read, and NoStore.
EditedSurvey openToEdit(const std::string& path, const SurveyOptions& how, const EditStoreOptions& options,
                        const Watch& watch, const Note& note);

/// Opens a survey with the edits that are kept of it, and says in a sentence to `note` that there are some. One of
/// which only the sound parts are read is shown without: its points have other numbers. While a saving in place is open
/// the survey is shown as it will be, whatever of that is in the file.
std::shared_ptr<const Survey> openWithEdits(const std::string& path, const SurveyOptions& how,
                                            const EditStoreOptions& options, const Note& note);

} // namespace corvane
