// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "json/NearestName.hpp"

namespace corvane {

using json::sameName;

/// `Did you mean "a" or "b"?` for a name that is not among the known ones; without a near one, what there is.
std::string suggestNames(const std::string& wrong, const std::vector<std::string>& known);

} // namespace corvane
