// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "../las/LasTestSupport.hpp"
#include "Kesh/values/LabelSet.hpp"

namespace corvane::test {

/// An entry of a Classification Lookup: class number and 15 bytes.
inline std::string entry(int value, std::string name) {
    name.resize(15);
    return static_cast<char>(value) + name;
}

/// "2=Ground 6=Building "
inline std::string asText(const Kesh::LabelSet& labels) {
    std::string text;
    for (const auto& [value, label] : labels) text += fmt::format("{}={} ", value, label.name);
    return text;
}

} // namespace corvane::test
