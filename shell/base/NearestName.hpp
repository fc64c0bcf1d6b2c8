// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace corvane {

/// `Did you mean "a" or "b"?` for a name that is not among the known ones; without a near one, what there is.
std::string suggestNames(const std::string& wrong, const std::vector<std::string>& known);

/// Whether two names are the same without regard to case.
bool sameName(const std::string& a, const std::string& b);

} // namespace corvane
