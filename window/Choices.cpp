// SPDX-License-Identifier: Apache-2.0
#include "window/Choices.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace corvane {

double tipFor(const Sextant::BoundingBox& box) {
    const double usual = Choices().tipRadius;
    if (box.empty()) return usual;
    const double side = std::max(box.maximum.x - box.minimum.x, box.maximum.y - box.minimum.y) / 100;
    if (!(side > 0) || !std::isfinite(side)) return usual;
    const double power = std::pow(10, std::floor(std::log10(side)));
    for (const double times : {1.0, 2.0, 5.0})
        if (times * power >= side) return times * power;
    return 10 * power;
}

void swapClasses(Choices& choices) {
    if (choices.from.size() != 1) return;
    const int from = *choices.from.begin();
    choices.from = {choices.to};
    choices.to = from;
}

std::string fromText(const Choices& choices) {
    if (choices.from.empty()) return "any unlocked";
    constexpr std::size_t most = 4;
    const std::vector<int> classes(choices.from.begin(), choices.from.end());
    const auto shown = classes.size() <= most ? classes.end() : classes.begin() + most;
    return fmt::format("{}{}", fmt::join(classes.begin(), shown, ", "), shown == classes.end() ? "" : ", …");
}

int TypedNumber::type(int digit, std::int64_t now, int largest) {
    constexpr int base = 10;
    const bool goesOn = now - last_ <= Patience && number_ <= (largest - digit) / base;
    number_ = goesOn ? number_ * base + digit : digit;
    last_ = now;
    return number_;
}

} // namespace corvane
