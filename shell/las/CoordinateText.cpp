// SPDX-License-Identifier: Apache-2.0
#include "las/CoordinateText.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fmt/format.h>

namespace corvane {

int coordinateDecimals(const LasHeader& header, std::size_t axis) {
    constexpr double roundingOfLogarithm = 1e-9, most = 12;
    const double decimals = std::ceil(-std::log10(std::abs(header.scale[axis])) - roundingOfLogarithm);
    return static_cast<int>(std::clamp(decimals, 0.0, most));
}

std::string coordinateText(const LasHeader& header, std::size_t axis, double coordinate) {
    return fmt::format("{:.{}f}", coordinate, coordinateDecimals(header, axis));
}

double plainCoordinate(const LasHeader& header, std::size_t axis, double coordinate) {
    constexpr double noise = 1e-4; // of a unit
    if (!std::isfinite(coordinate)) return coordinate;
    const double rounded = std::strtod(coordinateText(header, axis, coordinate).c_str(), nullptr);
    return std::abs(rounded - coordinate) < noise * std::abs(header.scale[axis]) ? rounded : coordinate;
}

std::array<double, 3> plainCoordinates(const LasHeader& header, const std::array<double, 3>& position) {
    std::array<double, 3> plain{};
    for (std::size_t axis = 0; axis < plain.size(); ++axis) plain[axis] = plainCoordinate(header, axis, position[axis]);
    return plain;
}

} // namespace corvane
