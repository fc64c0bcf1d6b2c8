// SPDX-License-Identifier: Apache-2.0
#include "session/PolygonMiss.hpp"

namespace corvane {

PolygonMiss missOf(const Survey& survey, const PolygonSet& polygons) {
    const auto plane = [](const std::array<double, 3>& corner) { return PlanePoint{corner[0], corner[1]}; };
    const PlanePoint minimum = plane(survey.las().header.minimum), maximum = plane(survey.las().header.maximum);
    return {describeMiss(polygons, minimum, maximum), lookLikeDegrees(polygons, minimum, maximum)};
}

} // namespace corvane
