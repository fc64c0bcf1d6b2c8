// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "las/LasDimensions.hpp"

#include <array>
#include <cstdint>
#include <string>

namespace corvane {

/// Point formats 0 to 5 have a table of classes of their own, and five bits for a class.
constexpr bool isLegacyFormat(std::uint8_t pointFormat) { return pointFormat <= 5; }
constexpr int LargestLegacyClass = 31;

/// The name that the LAS format gives a class. Point formats 0 to 5 and 6 to 10 have different tables.
std::string standardClassName(int value, std::uint8_t pointFormat);

/// Whether that table keeps the class for later versions of the format, or does not have it.
bool isReservedClass(int value, std::uint8_t pointFormat);

/// The name for a place of 15 bytes: the fixed short form of a standard name that is too long, else the name itself.
std::string shortClassName(const std::string& name);

/// The class's standard name when `name` is its short form, else the name itself.
std::string longClassName(int value, std::uint8_t pointFormat, const std::string& name);

/// Red, green and blue, 0 to 1. Any two of the classes 0 to 22 differ by 0.06 or more in OKLab (three times what is
/// just noticed), to normal vision and to the three kinds of dichromats (simulated after Machado, Oliveira and
/// Fernandes, severity 1). Hues follow custom as far as that allows: green vegetation, blue water. For other values hue
/// and brightness tell neighbours apart.
std::array<float, 3> classColour(int value);

/// What to do about a value that the dimension cannot hold, as a sentence.
std::string remedyFor(const Dimension& dimension, std::uint8_t pointFormat);

} // namespace corvane
