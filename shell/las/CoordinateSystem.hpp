// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/InputFile.hpp"
#include "las/LasRecords.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace corvane {

/// The payloads of the records 34735 to 34737, as they stand in the file; empty where there are none.
struct GeoTiffRecords {
    std::vector<std::byte> keys, doubles, texts;
};
GeoTiffRecords readGeoTiffRecords(const InputFile& file, const std::vector<LasRecord>& vlrs,
                                  const std::vector<LasRecord>& evlrs);

/// The coordinate reference system as the file states it: the WKT text (LASF_Projection 2112) of a VLR or EVLR, or else
/// the GeoTIFF keys (34735 to 34737) as "GeoTIFF key=value …" with the values of double and text keys resolved. Empty
/// when there is neither. Keys that make no sense give a warning.
std::string readCoordinateSystem(const InputFile& file, const std::vector<LasRecord>& vlrs,
                                 const std::vector<LasRecord>& evlrs, std::vector<std::string>& warnings);

} // namespace corvane
