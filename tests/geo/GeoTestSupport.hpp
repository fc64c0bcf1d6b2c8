// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "../las/LasTestSupport.hpp"
#include "geo/SurveyPolygons.hpp"

#include <cmath>
#include <fmt/format.h>

namespace corvane::test {

/// WKT of the kind that older programs write into surveys: without a code, axes or a shift.
inline std::string utmWkt(int zone, const std::string& end = "") {
    return fmt::format(
        R"(PROJCS["WGS 84 / UTM zone {}N",GEOGCS["WGS 84",DATUM["WGS_1984",SPHEROID["WGS 84",6378137,298.257223563]],)"
        R"(PRIMEM["Greenwich",0],UNIT["degree",0.0174532925199433]],PROJECTION["Transverse_Mercator"],)"
        R"(PARAMETER["latitude_of_origin",0],PARAMETER["central_meridian",{}],PARAMETER["scale_factor",0.9996],)"
        R"(PARAMETER["false_easting",500000],PARAMETER["false_northing",0],UNIT["metre",1]{}])",
        zone, 6 * zone - 183, end);
}

inline std::string utmWktWithCode(int zone) {
    return utmWkt(zone, fmt::format(R"(,AUTHORITY["EPSG","{}"])", 32600 + zone));
}

/// A survey with these bounds and this coordinate system.
inline LasFile surveyAt(std::array<double, 4> bounds, const std::string& wkt) {
    Survey survey;
    if (!wkt.empty()) survey.vlr("LASF_Projection", 2112, wkt + '\0');
    survey.points();
    survey.put<double>(179, bounds[2]).put<double>(187, bounds[0]);
    survey.put<double>(195, bounds[3]).put<double>(203, bounds[1]);
    return survey.open();
}

/// Easting and northing in UTM on the ellipsoid of WGS 84, by the series of Krueger to the fourth order of the third
/// flattening, which is good for far less than a millimetre.
inline PlanePoint utm(double longitude, double latitude, int zone) {
    constexpr double A = 6378137, F = 1 / 298.257223563, N = F / (2 - F), K0 = 0.9996;
    constexpr double N2 = N * N, N3 = N2 * N, N4 = N3 * N;
    constexpr double Alpha[] = {N / 2 - 2 * N2 / 3 + 5 * N3 / 16 + 41 * N4 / 180,
                                13 * N2 / 48 - 3 * N3 / 5 + 557 * N4 / 1440, 61 * N3 / 240 - 103 * N4 / 140,
                                49561 * N4 / 161280};
    const double degree = std::acos(-1) / 180, phi = latitude * degree,
                 lambda = (longitude - (6 * zone - 183)) * degree;
    const double e = std::sqrt(F * (2 - F)), s = std::sin(phi);
    const double t = std::sinh(std::atanh(s) - e * std::atanh(e * s));
    const double xi = std::atan2(t, std::cos(lambda)), eta = std::atanh(std::sin(lambda) / std::sqrt(1 + t * t));
    double east = eta, north = xi;
    for (int j = 1; j <= 4; ++j) {
        east += Alpha[j - 1] * std::cos(2 * j * xi) * std::sinh(2 * j * eta);
        north += Alpha[j - 1] * std::sin(2 * j * xi) * std::cosh(2 * j * eta);
    }
    const double radius = A / (1 + N) * (1 + N2 / 4 + N4 / 64);
    return {500000 + K0 * radius * east, K0 * radius * north};
}

/// A corner of the result that is nearer to `place` than `distance`.
inline bool hasCorner(const PolygonSet& polygons, PlanePoint place, double distance) {
    for (const Ring& ring : polygons.rings)
        for (const auto [x, y] : ring)
            if (std::hypot(x - place.x, y - place.y) < distance) return true;
    return false;
}

} // namespace corvane::test
