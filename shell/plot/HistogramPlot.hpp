// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/LabelSet.hpp"
#include "Kesh/values/VHistogram.hpp"
#include "plot/DrawingLibrary.hpp"

#include <string>
#include <vector>

namespace corvane {

/// What a picture says about the counts.
struct PlotTexts {
    std::string survey; ///< the file's name
    std::string field;  ///< that was counted
    std::string region; ///< where, e.g. "whole survey"
};

/// Draws a bar per value, in the colour of its label, into an SVG or PNG file, as its ending says. Of very
/// many values only the most frequent are shown. Returns what was lost of a file that it replaces: sentences.
std::vector<std::string> plotHistogram(const Kesh::VHistogram& histogram, const Kesh::LabelSet& labels,
                                       const PlotTexts& texts, const std::string& path, bool overwrite);

} // namespace corvane
