// SPDX-License-Identifier: Apache-2.0
// What the colours of a picture of points mean.
#pragma once

#include "Kesh/values/LabelSet.hpp"
#include "picture/ColourRamp.hpp"
#include "plot/Colouring.hpp"
#include "plot/PicturePage.hpp"

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

namespace corvane {

/// Points by value, and a value for each that occurs.
using ValueCounts = std::map<std::uint32_t, std::uint64_t>;

/// The colour of a value: that of its label, or else one that is its own.
Colour valueColour(std::uint32_t value, bool isClass, const Kesh::LabelSet& labels);

/// "6 Building"
std::string valueName(std::uint32_t value, const Kesh::LabelSet& labels);

/// Values with their points, at most so many rows; of more the most frequent are shown.
Legend valueLegend(const Colouring& colouring, const ValueCounts& counts, const Kesh::LabelSet& labels,
                   std::size_t most);

/// Numbers from `low` to `high`; `decimals` of them are said.
Legend rampLegend(const std::string& title, Ramp ramp, double low, double high, int decimals);

} // namespace corvane
