// SPDX-License-Identifier: Apache-2.0
#include "picture/ColourRamp.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>

namespace corvane {
namespace {

constexpr std::array<Colour, 7> Heights{0xff3b2a72, 0xff3a538f, 0xff2f7b96, 0xff2ba089,
                                        0xff63c16a, 0xffb5d94a, 0xfffbe84a};
constexpr std::array<Colour, 2> Greys{0xff1a1a1a, 0xffffffff};

Colour along(std::span<const Colour> stops, double part) {
    const double place = std::clamp(part, 0.0, 1.0) * double(stops.size() - 1);
    const auto below = std::min(static_cast<std::size_t>(place), stops.size() - 2);
    return between(stops[below], stops[below + 1], place - double(below));
}

} // namespace

Colour rampColour(Ramp ramp, double part) {
    const double known = std::isnan(part) ? 0 : part;
    return ramp == Ramp::Heights ? along(Heights, known) : along(Greys, known);
}

Colour colourFrom(double red, double green, double blue) {
    const auto byte = [](double part) { return static_cast<Colour>(255 * std::clamp(part, 0.0, 1.0) + 0.5); };
    return 0xff000000U | byte(red) << 16 | byte(green) << 8 | byte(blue);
}

} // namespace corvane
