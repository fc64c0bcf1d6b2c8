// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "picture/DrawnFragment.hpp"

#include <optional>
#include <span>
#include <string>
#include <utility>

namespace corvane {

/// The box to be shown for all points to be seen: of a sample of them, without the thousandth at either end along each
/// axis, so that a few stray points do not make the others small. Never without extent; without points a box around 0.
Sextant::BoundingBox boxToShow(const DrawnFragments& fragments);
Sextant::BoundingBox boxToShow(std::span<const Sextant::PhysicalSpace::point> sample);

/// The numbers between which this share of the points is at either end: of heights, or of a column; of a sample of what
/// there is. Finite, and the second one larger; none where nothing is known.
std::optional<std::pair<double, double>> heightRange(const DrawnFragments& fragments, double share = 0.01);
std::optional<std::pair<double, double>> columnRange(const DrawnFragments& fragments, const std::string& name,
                                                     double share = 0.01);

} // namespace corvane
