// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/LabelSet.hpp"

#include <cstdint>
#include <set>

namespace corvane {

/// The colour of a class, opaque.
Sextant::rgba_float_t labelColour(int value);

/// A label with standard name and colour for each of the values.
Kesh::LabelSet standardLabels(const std::set<int>& values, std::uint8_t pointFormat);

} // namespace corvane
