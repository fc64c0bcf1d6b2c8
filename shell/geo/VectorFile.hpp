// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "polygon/PolygonReader.hpp"

#include <string>

namespace corvane {

/// Adds the features with areas of what the argument leads to, read by the library with GDAL. `attribute` and `where`
/// are empty or as in VectorQuery. Throws Failure, and UsageError for a layer or attribute that is not there.
void addVectors(PolygonReader& reader, const PolygonArgument& argument, const std::string& attribute,
                const std::string& where);

} // namespace corvane
