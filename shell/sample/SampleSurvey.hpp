// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/Watch.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace corvane {

struct SampleOptions {
    std::uint64_t points = 1'000'000; ///< at most 10^12; eight lie on a square metre
    std::uint64_t seed = 1;           ///< one seed, one landscape, one file
    std::string version = "1.4";      ///< of the LAS file, 1.0 to 1.5
    int pointFormat = -1;             ///< -1: 6 for versions 1.4 and 1.5, 3 for 1.2 and 1.3, 1 for older ones
    bool overwrite = false;           ///< replaces a file of that name
};

/// Writes an invented airborne survey in the order in which it was flown. Takes little memory for any number of points;
/// the file gets its name when it is whole. Throws UsageError for a version or point format that is not in the
/// format's tables. `watch` is told points. Returns what was lost of a file that it replaces: sentences without the
/// path.
std::vector<std::string> writeSampleSurvey(const std::string& path, const SampleOptions& options,
                                           const Watch& watch = {});

} // namespace corvane
