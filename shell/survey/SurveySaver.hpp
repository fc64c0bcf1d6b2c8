// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/LabelSet.hpp"
#include "base/Watch.hpp"
#include "las/FileChange.hpp"
#include "survey/Survey.hpp"

#include <functional>
#include <string>
#include <vector>

namespace corvane {

struct SaveOptions {
    bool overwrite = false;                 ///< replaces a file of that name
    const Kesh::LabelSet* labels = nullptr; ///< go into the Classification Lookup record, or a new one
    Watch watch = {};                       ///< is told bytes
};

/// Writes the survey as it is now to `path`: the file as it was opened, with the edited dimensions' bits in it, and
/// nothing else changed. The result appears whole or not at all, also when it replaces the survey's own file. Throws
/// Failure before anything is written when a value does not fit its dimension. Returns what could not be stored as it
/// is: finished sentences, without the path.
std::vector<std::string> saveSurvey(const Survey& survey, const std::string& path, const SaveOptions& options = {});

/// What gives the file these names of classes; adds sentences to the warnings where one cannot be stored as it is.
FileChange changeOfLabels(const LasFile& las, const Kesh::LabelSet& labels, std::vector<std::string>& warnings);

/// Puts such a file, with the points packed as they are and this change, in the place of the survey's own. When it is
/// whole, `beforeNaming` is called with where it can be read until it has its name; if that throws, all is as before.
using BeforeNaming = std::function<void(const std::string& readable)>;
std::vector<std::string> replaceSurvey(const Survey& survey, const FileChange& change, const Watch& watch,
                                       const BeforeNaming& beforeNaming);

/// Throws Failure for a survey whose edits cannot be stored in its file: it is damaged, or a value does not fit its
/// dimension.
void checkMayBeSaved(const Survey& survey);

} // namespace corvane
