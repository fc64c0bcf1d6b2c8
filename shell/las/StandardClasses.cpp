// SPDX-License-Identifier: Apache-2.0
#include "las/StandardClasses.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <fmt/format.h>

namespace corvane {
namespace {

constexpr char Reserved[] = "Reserved";
constexpr int FirstUserClass = 64; // to 255, in formats 6 to 10

struct ClassFacts {
    const char* name;       ///< in point formats 6 to 10
    const char* legacyName; ///< in point formats 0 to 5; null: reserved there
    std::uint32_t colour;   ///< red, green, blue, a byte each
};

constexpr std::array<ClassFacts, 23> Classes{{
    {"Created, Never Classified", "Created, Never Classified", 0x7b87a3},
    {"Unclassified", "Unclassified", 0xafa5a0},
    {"Ground", "Ground", 0x9d6144},
    {"Low Vegetation", "Low Vegetation", 0x54eea6},
    {"Medium Vegetation", "Medium Vegetation", 0x0ca446},
    {"High Vegetation", "High Vegetation", 0x014f20},
    {"Building", "Building", 0xeb5014},
    {"Low Point (Noise)", "Low Point (Noise)", 0xe242e2},
    {Reserved, "Model Key-Point (Mass Point)", 0xffc885},
    {"Water", "Water", 0x2e5dcb},
    {"Rail", nullptr, 0x6c5a7c},
    {"Road Surface", nullptr, 0x51514e},
    {Reserved, "Overlap Points", 0xa9a5f8},
    {"Wire - Guard (Shield)", nullptr, 0xffe650},
    {"Wire - Conductor (Phase)", nullptr, 0xffb507},
    {"Transmission Tower", nullptr, 0xb50161},
    {"Wire-Structure Connector", nullptr, 0xc3bc6f},
    {"Bridge Deck", nullptr, 0x8a1b1b},
    {"High Noise", nullptr, 0xff8bc6},
    {"Overhead Structure", nullptr, 0x40c0cd},
    {"Ignored Ground", nullptr, 0x7b552a},
    {"Snow", nullptr, 0xffffff},
    {"Temporal Exclusion", nullptr, 0x2c897b},
}};

/// Names of more than 15 characters, and what stands for them.
constexpr std::array<std::pair<const char*, const char*>, 10> ShortForms{{
    {"Created, Never Classified", "Never Classif."},
    {"Medium Vegetation", "Medium Veget."},
    {"Low Point (Noise)", "Low Point Noise"},
    {"Model Key-Point (Mass Point)", "Model Key-Point"},
    {"Wire - Guard (Shield)", "Wire Guard"},
    {"Wire - Conductor (Phase)", "Wire Conductor"},
    {"Transmission Tower", "Transm. Tower"},
    {"Wire-Structure Connector", "Wire Connector"},
    {"Overhead Structure", "Overhead Struct"},
    {"Temporal Exclusion", "Temporal Excl."},
}};

/// Hue (0 to 1), full saturation of 0.7.
std::array<float, 3> fromHue(double hue, double brightness) {
    constexpr double saturation = 0.7;
    const auto channel = [&](double shift) {
        const double distance = std::abs(std::fmod(hue + shift, 1.0) * 6 - 3) - 1; // from the channel's own hue
        return static_cast<float>(brightness * (1 - saturation + saturation * std::clamp(distance, 0.0, 1.0)));
    };
    return {channel(1.0), channel(2.0 / 3), channel(1.0 / 3)};
}

} // namespace

std::string standardClassName(int value, std::uint8_t pointFormat) {
    if (value >= 0 && value < static_cast<int>(Classes.size())) {
        const ClassFacts& facts = Classes[static_cast<std::size_t>(value)];
        if (!isLegacyFormat(pointFormat)) return facts.name;
        return facts.legacyName ? facts.legacyName : Reserved;
    }
    return value >= FirstUserClass && !isLegacyFormat(pointFormat) ? "User Definable" : Reserved;
}

bool isReservedClass(int value, std::uint8_t pointFormat) { return standardClassName(value, pointFormat) == Reserved; }

std::string shortClassName(const std::string& name) {
    const auto found = std::ranges::find(ShortForms, name, [](const auto& form) { return std::string(form.first); });
    return found == ShortForms.end() ? name : found->second;
}

std::string longClassName(int value, std::uint8_t pointFormat, const std::string& name) {
    const std::string standard = standardClassName(value, pointFormat);
    return name == shortClassName(standard) ? standard : name;
}

std::array<float, 3> classColour(int value) {
    if (value >= 0 && value < static_cast<int>(Classes.size())) {
        const std::uint32_t packed = Classes[static_cast<std::size_t>(value)].colour;
        const auto channel = [&](int shift) { return static_cast<float>(packed >> shift & 0xff) / 255; };
        return {channel(16), channel(8), channel(0)};
    }
    constexpr double goldenRatio = 0.6180339887498949; // spreads hues evenly, however many there are
    const double turns = std::abs(value) * goldenRatio;
    return fromHue(turns - std::floor(turns), value % 2 == 0 ? 1.0 : 0.65);
}

std::string remedyFor(const Dimension& dimension, std::uint8_t pointFormat) {
    if (dimension.name == ClassificationName && isLegacyFormat(pointFormat))
        return fmt::format("In point format {} the classes are 0 to {}, since the other three bits of the byte are "
                           "flags; choose such a class, or convert the file to one of the point formats 6 to 10 first.",
                           pointFormat, LargestLegacyClass);
    return fmt::format("Choose a value from 0 to {}.", dimension.largestValue());
}

} // namespace corvane
