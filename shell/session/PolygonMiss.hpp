// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "polygon/Polygons.hpp"
#include "survey/Survey.hpp"

namespace corvane {

/// Polygons that no point of the survey can lie in.
struct PolygonMiss {
    std::string sentence; ///< that says so; empty when some point may
    bool degrees = false; ///< because they are in other coordinates
};
PolygonMiss missOf(const Survey& survey, const PolygonSet& polygons);

} // namespace corvane
