// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <vector>

namespace corvane {

/// The name of a file without folder and ending (.las, .laz, .copc.laz): a tile's, in whatever form it is delivered.
std::string tileName(const std::string& path);

/// Surveys by the names of their tiles, without a suffix that they may have. Throws UsageError when two have the same.
std::map<std::string, std::string> surveysByTile(const std::vector<std::string>& paths, const std::string& suffix = "");

} // namespace corvane
