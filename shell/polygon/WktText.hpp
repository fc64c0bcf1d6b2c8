// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace corvane {

/// One POLYGON or MULTIPOLYGON, and the number that stood before it as "SRID=number;": empty without one, and for 0,
/// which means that the system is not known.
struct WktGeometry {
    std::string wkt, srid;
};

/// Whether a text, blanks before it or not, begins like the WKT of any geometry.
bool beginsLikeWkt(std::string_view text);

/// The geometries that stand in a text one behind the other. Throws Failure, without a full stop, for others than
/// areas, for numbers that are not finite, and for what is no WKT.
std::vector<WktGeometry> splitWkt(std::string_view text);

std::string_view withoutLeadingBlanks(std::string_view text);

/// The beginning of a text, on one line, for messages.
std::string excerpt(std::string_view text);

} // namespace corvane
