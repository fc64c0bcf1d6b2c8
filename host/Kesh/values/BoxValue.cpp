// SPDX-License-Identifier: Apache-2.0
#include "Kesh/values/BoxValue.hpp"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <cmath>
#include <stdexcept>

namespace Kesh {
namespace {

using Coordinates = std::array<double, 6>;

Coordinates parseCoordinates(const std::string& text) {
    Coordinates numbers{};
    const char *next = text.data(), *end = next + text.size();
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const bool separated = i == 0 || (next != end && *next == ',');
        if (i > 0 && separated) ++next;
        while (next != end && *next == ' ') ++next;
        const auto [stop, error] = std::from_chars(next, end, numbers[i]);
        if (!separated || error != std::errc() || !std::isfinite(numbers[i]))
            throw std::invalid_argument(
                fmt::format("\"{}\" was found where a box \"X0,Y0,Z0,X1,Y1,Z1\" is expected: number {} of the six "
                            "cannot be read",
                            text, i + 1));
        next = stop;
    }
    if (next != end)
        throw std::invalid_argument(fmt::format("\"{}\" has more than the six numbers \"X0,Y0,Z0,X1,Y1,Z1\"", text));
    return numbers;
}

} // namespace

std::string VValueTrait<BoxPtr>::Text(const BoxPtr& box) {
    if (!box) return "";
    const auto &a = box->minimum, &b = box->maximum;
    return fmt::format("{},{},{},{},{},{}", a.x, a.y, a.z, b.x, b.y, b.z);
}

void VValueTrait<BoxPtr>::setValueFromText(BoxPtr& box, const std::string& text) {
    if (text.empty()) return box.reset();
    const Coordinates n = parseCoordinates(text);
    const Sextant::BoundingBox parsed({n[0], n[1], n[2]}, {n[3], n[4], n[5]});
    box = std::make_shared<Sextant::BoundingBox>(parsed);
}

template class VValue<BoxPtr>;

} // namespace Kesh
