// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace json {

/// Whether two names are the same without regard to case.
bool sameName(std::string_view a, std::string_view b);

/// Those of the known names that a wrong one was likely meant to be; none when no name is near.
std::vector<std::string> nearNames(std::string_view wrong, const std::vector<std::string>& known);

} // namespace json
