// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace corvane {

/// What a coordinate system is called. Of a compound system its horizontal part counts.
struct CrsLabel {
    std::string name; ///< empty: not given
    std::string code; ///< "EPSG:25832"; empty: not given, or not to be trusted without a look at the other facts

    /// "NAD83 / UTM zone 15N (EPSG:26915)", or what there is of it; empty when there is nothing.
    std::string text() const;
};

/// Of the text of a survey's coordinate system (LasFile::crs): WKT or GeoTIFF keys.
CrsLabel crsLabel(std::string_view crs);

/// The part of a WKT that describes the horizontal system, as one node; empty when there is none.
std::string_view horizontalPart(std::string_view wkt);

} // namespace corvane
