// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/LabelSet.hpp"
#include "survey/Survey.hpp"

#include <functional>
#include <string>
#include <vector>

namespace corvane {

/// Writes the survey as it is now to `path`: the file as it was opened, with the edited dimensions' bits in it, and
/// nothing else changed. The result appears whole or not at all, also when it replaces the survey's own file.
/// Throws Failure before anything is written when a value does not fit its dimension. `progress(done, total)`, in
/// bytes, may return false to interrupt, which throws Failure too.
void saveSurvey(const Survey& survey, const std::string& path,
                const std::function<bool(std::uint64_t done, std::uint64_t total)>& progress = {});

/// The same, and the labels go into the file's Classification Lookup record, in the place of what that held, or as a
/// new VLR. Returns what could not be stored as it is: finished sentences.
std::vector<std::string> saveSurvey(const Survey& survey, const std::string& path, const Kesh::LabelSet& labels,
                                    const std::function<bool(std::uint64_t done, std::uint64_t total)>& progress = {});

} // namespace corvane
