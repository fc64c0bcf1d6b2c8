// SPDX-License-Identifier: Apache-2.0
#include "sample/Surface.hpp"

namespace corvane {
namespace {

enum Class : std::uint8_t {
    Unclassified = 1,
    Ground = 2,
    Low = 3,
    Medium = 4,
    High = 5,
    Building = 6,
    LowNoise = 7,
    Water = 9,
    Road = 11,
    Shield = 13,
    Conductor = 14,
    Tower = 15,
    Connector = 16,
    Bridge = 17,
    HighNoise = 18
};

/// In the order of Surface.
constexpr SurfaceFacts Facts[] = {
    {Ground, Low, 22000, {132, 112, 84, 120}},     {Road, Ground, 9000, {96, 96, 100, 70}},
    {Low, Ground, 26000, {104, 138, 70, 200}},     {Medium, Unclassified, 24000, {84, 122, 58, 210}},
    {High, Building, 20000, {58, 100, 48, 225}},   {Building, High, 30000, {158, 86, 66, 110}},
    {Water, Ground, 2500, {52, 74, 92, 20}},       {Bridge, Unclassified, 14000, {128, 126, 122, 80}},
    {Conductor, High, 6000, {70, 70, 74, 60}},     {Shield, Conductor, 5000, {76, 76, 80, 60}},
    {Tower, Building, 16000, {118, 122, 126, 90}}, {Connector, Tower, 12000, {110, 100, 92, 80}},
    {LowNoise, Ground, 1500, {90, 90, 90, 90}},    {HighNoise, Unclassified, 1200, {180, 190, 205, 150}},
};

} // namespace

const SurfaceFacts& factsOf(Surface surface) { return Facts[static_cast<std::size_t>(surface)]; }

std::uint8_t legacyClassOf(std::uint8_t extended) {
    switch (extended) {
    case Road:
        return Ground;
    case HighNoise:
        return LowNoise;
    case Water:
        return Water;
    default:
        return extended <= LowNoise ? extended : static_cast<std::uint8_t>(Unclassified);
    }
}

} // namespace corvane
