// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "check/RecordStream.hpp"

#include <optional>
#include <string>
#include <vector>

namespace corvane {

/// A field of the header; none where the version has no such field.
struct HeaderDifference {
    std::string name;
    std::optional<std::string> before, after;
};

/// A record, or bytes that belong to none.
struct PartDifference {
    std::string kind; ///< "VLR", "EVLR" or "bytes"
    std::string name; ///< "user/id", from the second of the same name on "user/id#2"
    std::string what; ///< "added", "dropped", or how it was changed
};

std::vector<HeaderDifference> compareHeaders(const LasFile& before, const LasFile& after);

/// Everything in the files that is neither a field of the header nor a point.
std::vector<PartDifference> compareParts(const LasFile& before, const LasFile& after, const Watch& watch);

/// The names that these differences may have.
std::vector<std::string> partNames(const LasFile& before, const LasFile& after);

} // namespace corvane
