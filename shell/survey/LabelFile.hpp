// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/LabelSet.hpp"
#include "survey/Survey.hpp"

#include <set>
#include <string>

namespace corvane {

/// Reads a label set from a file of its text form, JSON. Throws Failure with the place of what is wrong in it.
Kesh::LabelSet loadLabels(const std::string& path);

/// The standard labels of these values, the survey's own over them, and those of the file over both, if one is named.
Kesh::LabelSet labelsFor(const Survey& survey, const std::string& path, const std::set<int>& values);

/// Writes one, a line per label. Returns what was lost of a file that it replaces: sentences without the path.
std::vector<std::string> saveLabels(const Kesh::LabelSet& labels, const std::string& path, bool overwrite = false);

} // namespace corvane
