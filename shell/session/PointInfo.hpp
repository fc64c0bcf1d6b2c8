// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "session/WorkbenchState.hpp"

#include <string>
#include <utility>
#include <vector>

namespace corvane {

/// All fields of a point as texts, by name, in the order of the record; from any thread. Throws UsageError when there
/// is no such point, and Failure for what cannot be read.
std::vector<std::pair<std::string, std::string>> pointInfo(const WorkbenchState& state, std::uint32_t fragment,
                                                           std::size_t index);

} // namespace corvane
