// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "las/LasHeader.hpp"

#include <array>
#include <string>

namespace corvane {

/// Decimals that the header's scale gives the coordinates along an axis.
int coordinateDecimals(const LasHeader& header, std::size_t axis);

/// A coordinate with the decimals that the header's scale gives it.
std::string coordinateText(const LasHeader& header, std::size_t axis, double coordinate);

/// The same as numbers: without the digits that only come from computing with doubles. One that is no multiple of the
/// scale, as bounds in headers may be, stays as it is.
double plainCoordinate(const LasHeader& header, std::size_t axis, double coordinate);
std::array<double, 3> plainCoordinates(const LasHeader& header, const std::array<double, 3>& position);

} // namespace corvane
