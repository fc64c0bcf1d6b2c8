// SPDX-License-Identifier: Apache-2.0
#include "geo/Proj.hpp"
#include "geo/Transform.hpp"
#include "geo/Vectors.hpp"

extern "C" const corvane::GeoFunctions& corvaneGeo1() {
    static const bool silent = (corvane::silenceProj(), true);
    static constexpr corvane::GeoFunctions Functions{corvane::transformCoordinates, corvane::readVectors};
    (void)silent;
    return Functions;
}
