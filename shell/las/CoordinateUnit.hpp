// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace corvane {

/// The unit of x and y as the text of a survey's coordinate system (LasFile::crs) has it: "metre", "foot",
/// "US survey foot", "degree"; another one as it is written there. Empty when it says none.
std::string coordinateUnit(std::string_view crs);

} // namespace corvane
