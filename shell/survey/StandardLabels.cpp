// SPDX-License-Identifier: Apache-2.0
#include "survey/StandardLabels.hpp"

#include "las/StandardClasses.hpp"

#include <cmath>

namespace corvane {

Sextant::rgba_float_t labelColour(int value) {
    const auto [red, green, blue] = classColour(value);
    const auto byte = [](float channel) { return std::round(channel * 255) / 255; }; // so that #rrggbb says it all
    return {byte(red), byte(green), byte(blue), 1};
}

Kesh::LabelSet standardLabels(const std::set<int>& values, std::uint8_t pointFormat) {
    Kesh::LabelSet labels;
    for (const int value : values) {
        Kesh::Label& label = labels[value];
        label.name = standardClassName(value, pointFormat);
        label.colour = labelColour(value);
    }
    return labels;
}

} // namespace corvane
