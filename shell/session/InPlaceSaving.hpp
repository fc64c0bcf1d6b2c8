// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/LabelSet.hpp"
#include "base/Watch.hpp"
#include "las/InPlaceChange.hpp"
#include "session/SurveyEdits.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace corvane {

/// What became of a saving in place.
struct InPlaceSaved {
    std::uint64_t bytes = 0;           ///< that were written where they stand
    std::string obstacle{};            ///< why a whole new file took the place instead, as a clause; empty: none did
    std::vector<std::string> losses{}; ///< what could not be stored as it is: finished sentences, without the path
};

/// Writes a survey with its edits into its own file, a batch of bytes at a time, with the store as journal: each batch
/// is committed to the store before it is written to the file, and is on the disc before the next one. Where the edits
/// do not fit, a whole new file takes the place. With `labels` these names of classes go into the file, too, before
/// everything else; of a file without a record for them a whole new one is made.
///
/// When it is done, the present of the store is what the file says, and undo goes back from there. When it is cut off,
/// the store says what the file may be, and whoever writes next completes it.
///
/// Of what came from openToEdit and has not been changed; it is closed, since what was read of the file is not there
/// any more. Throws Failure, which says so when the file may have been written to.
InPlaceSaved saveInPlace(EditedSurvey edited, const Kesh::LabelSet* labels, const Watch& watch,
                         const BatchSize& size = {});

/// Completes the saving that the store of a survey says is open, or settles that it did not begin; a sentence that says
/// so, or empty for a store without one. Throws Failure, also when the store is of another survey.
std::string completeSaving(const std::string& survey, const std::string& storePath, const SurveyOptions& how,
                           const Watch& watch, const BatchSize& size = {});

} // namespace corvane
