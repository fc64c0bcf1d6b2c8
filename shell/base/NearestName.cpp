// SPDX-License-Identifier: Apache-2.0
#include "base/NearestName.hpp"

#include <fmt/format.h>

namespace corvane {

std::string suggestNames(const std::string& wrong, const std::vector<std::string>& known) {
    const std::vector<std::string> near = json::nearNames(wrong, known);
    if (!near.empty()) return fmt::format("Did you mean \"{}\"?", fmt::join(near, "\" or \""));
    if (known.empty()) return "There are none here.";
    return fmt::format("There are \"{}\".", fmt::join(known, "\", \""));
}

} // namespace corvane
