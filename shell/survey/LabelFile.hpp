// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/LabelSet.hpp"

#include <string>

namespace corvane {

/// Reads a label set from a file of its text form, JSON. Throws Failure with the place of what is wrong in it.
Kesh::LabelSet loadLabels(const std::string& path);

/// Writes one, a line per label. An existing file is replaced.
void saveLabels(const Kesh::LabelSet& labels, const std::string& path);

} // namespace corvane
