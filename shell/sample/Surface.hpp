// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>

namespace corvane {

/// What a beam can meet.
enum class Surface : std::uint8_t {
    Ground,
    Road,
    LowVegetation,
    MediumVegetation,
    HighVegetation,
    Roof,
    Water,
    BridgeDeck,
    Conductor,
    ShieldWire,
    Tower,
    Connector,
    LowNoise,
    HighNoise
};

/// How a surface looks to the scanner, and what classification makes of it.
struct SurfaceFacts {
    std::uint8_t truth;   ///< class, as in point formats 6 to 10
    std::uint8_t mistake; ///< the class that an automatic classification takes it for when it errs
    std::uint16_t intensity;
    std::array<std::uint8_t, 4> colour; ///< red, green, blue, infrared
};

const SurfaceFacts& factsOf(Surface surface);

/// The class that point formats 0 to 5 have for one of formats 6 to 10.
std::uint8_t legacyClassOf(std::uint8_t extended);

/// "Overlap Points" of point formats 0 to 5, which have no flag for them.
constexpr std::uint8_t LegacyOverlapClass = 12;

} // namespace corvane
