// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/InputFile.hpp"
#include "las/LasRecords.hpp"

#include <string>
#include <vector>

namespace corvane {

/// The coordinate reference system as the file states it: the WKT text (LASF_Projection 2112) of a VLR or EVLR, or else
/// the GeoTIFF keys (34735 to 34737) as "GeoTIFF key=value …" with the values of double and text keys resolved. Empty
/// when there is neither. Keys that make no sense give a warning.
std::string readCoordinateSystem(const InputFile& file, const std::vector<LasRecord>& vlrs,
                                 const std::vector<LasRecord>& evlrs, std::vector<std::string>& warnings);

} // namespace corvane
