// SPDX-License-Identifier: Apache-2.0
#include "sample/Landscape.hpp"

#include <algorithm>
#include <cmath>

namespace corvane {
namespace {

// Metres throughout.
constexpr double WaterLevel = 405;
constexpr double RiverHalfWidth = 7, RiverPeriod = 1600, ValleyWidth = 70;
constexpr double RoadHalfWidth = 3, RoadPeriod = 240, RoadStart = 20, BridgeHeight = 2.5, BridgeHalfLength = 13;
constexpr double LineStart = 105, LinePeriod = 600, CorridorHalfWidth = 9;
constexpr double TowerStart = 75, Span = 120, TowerHalfWidth = 1.2, TowerHeight = 26, ArmHalfWidth = 0.4, Sag = 4;
constexpr double Footprint = 0.13; ///< half of what a beam covers, for things as thin as a wire

struct Wire {
    double offset, height; ///< from the axis, above the ground
    Surface surface;
};
constexpr Wire Wires[] = {{-4, 20, Surface::Conductor},
                          {0, 20, Surface::Conductor},
                          {4, 20, Surface::Conductor},
                          {1.5, 25, Surface::ShieldWire}};

/// The signed distance to the nearest of the lines start, start ± period, start ± 2 periods, …
double offsetFrom(double position, double start, double period) {
    const double cycles = (position - start) / period;
    return (cycles - static_cast<double>(wholeBelow(cycles + 0.5))) * period;
}

double smooth(double t) { return t * t * (3 - 2 * t); }

Surface vegetation(double height) {
    if (height < 0.5) return Surface::LowVegetation;
    return height < 2 ? Surface::MediumVegetation : Surface::HighVegetation;
}

} // namespace

Random Lattice::cell(std::int64_t column, std::int64_t row) const {
    const auto x = static_cast<std::uint64_t>(column), y = static_cast<std::uint64_t>(row);
    return Random(mixed(seed_ + x * 0x9E3779B97F4A7C15u + y * 0xC2B2AE3D27D4EB4Fu));
}

double Lattice::relief(double x, double y) {
    const auto column = indexOf(x), row = indexOf(y);
    if (column != column_ || row != row_) {
        column_ = column;
        row_ = row;
        for (int i = 0; i < 4; ++i) corners_[i] = cell(column + i % 2, row + i / 2).unit();
    }
    const double u = smooth(x * inverse_ - static_cast<double>(column));
    const double v = smooth(y * inverse_ - static_cast<double>(row));
    const double low = corners_[0] + (corners_[1] - corners_[0]) * u;
    const double high = corners_[2] + (corners_[3] - corners_[2]) * u;
    return low + (high - low) * v;
}

struct Landscape::Place {
    double x, y;
    double river;    ///< distance to its middle
    double ground;   ///< height
    double corridor; ///< signed distance to the axis of the power line

    bool isCleared() const { return std::abs(corridor) < CorridorHalfWidth; }
};

Landscape::Landscape(std::uint64_t seed)
    : hills_(seed + 1, 420),
      mounds_(seed + 2, 75),
      bumps_(seed + 3, 9),
      bends_(seed + 4, 150),
      districts_(seed + 5, 320),
      plots_(seed + 6, 40),
      houses_(seed + 10, plots_.size()),
      trees_(seed + 7, 6.5),
      shrubs_(seed + 8, 3),
      patches_(seed + 9, 9) {}

double Landscape::riverDistance(double x, double y) {
    const double middle = 20 + 40 * bends_.relief(0.5 * bends_.size(), y);
    return std::abs(offsetFrom(x, middle, RiverPeriod));
}

double Landscape::groundAt(double x, double y, double river) {
    const double valley = smooth(std::clamp((river - RiverHalfWidth) / ValleyWidth, 0.0, 1.0));
    const double height = 2 + 32 * hills_.relief(x, y) + 6 * mounds_.relief(x, y) + 0.5 * bumps_.relief(x, y);
    return WaterLevel + height * valley;
}

Landscape::Use Landscape::useOf(std::int64_t column, std::int64_t row) const {
    // One plot of sixteen is always wood and one always a house, so that the smallest survey has both.
    if ((column & 3) == 3 && (row & 3) == 3) return Use::Wood;
    if ((column & 3) == 2 && (row & 3) == 1) return Use::Village;
    static constexpr struct { double wood, village; } districts[] = {{0.2, 0.08}, {0.8, 0}, {0.1, 0.7}};
    auto district = districts_.cellAt(plots_.centreOf(column), plots_.centreOf(row));
    const auto [wood, village] = districts[district.next() % std::size(districts)];
    const double draw = plots_.cell(column, row).unit();
    if (draw < wood) return Use::Wood;
    return draw < wood + village ? Use::Village : Use::Field;
}

bool Landscape::meetNoise(Beam& beam, const Place& place, Random& random) const {
    if (!random.chance(1.0 / 4000)) return false;
    if (random.chance(0.5)) {
        beam.meet(place.ground - random.between(3, 30), Surface::LowNoise);
    } else {
        beam.meet(place.ground + random.between(60, 150), Surface::HighNoise);
    }
    return true;
}

bool Landscape::meetTower(Beam& beam, const Place& place, Random& random) const {
    const double along = std::abs(offsetFrom(place.x, TowerStart, Span)), across = std::abs(place.corridor);
    if (along < TowerHalfWidth && across < TowerHalfWidth) {
        beam.meet(place.ground + random.between(1, TowerHeight), Surface::Tower);
        return true;
    }
    const auto armEnd = std::abs(Wires[0].offset), armHeight = Wires[0].height;
    if (along > ArmHalfWidth || across > armEnd + ArmHalfWidth) return false;
    if (armEnd - across < ArmHalfWidth) {
        beam.meet(place.ground + armHeight + random.between(0, 1.2), Surface::Connector);
    } else {
        beam.meet(place.ground + armHeight + 1.5, Surface::Tower);
    }
    return true;
}

/// Hangs between the tops of the two towers beside the place.
double Landscape::wireHeight(const Place& place, double height) {
    const double cycles = (place.x - TowerStart) / Span, first = std::floor(cycles), t = cycles - first;
    const auto top = [&](double tower) {
        const double x = TowerStart + tower * Span, y = place.y - place.corridor;
        return groundAt(x, y, riverDistance(x, y)) + height;
    };
    return std::lerp(top(first), top(first + 1), t) - 4 * Sag * t * (1 - t);
}

void Landscape::meetWire(Beam& beam, const Place& place, Random& random) {
    for (const auto& wire : Wires) {
        if (std::abs(place.corridor - wire.offset) > Footprint || !random.chance(0.75)) continue;
        // A hill may reach up to a wire; there, the wire is not seen.
        const double z = wireHeight(place, wire.height) + 0.03 * random.bell();
        if (z > place.ground + 4) beam.meet(z, wire.surface);
    }
}

bool Landscape::meetRoof(Beam& beam, const Place& place) {
    auto house = houses_.cellAt(place.x, place.y);
    const double x = houses_.centreOf(houses_.indexOf(place.x)) + house.between(-5, 5);
    const double y = houses_.centreOf(houses_.indexOf(place.y)) + house.between(-5, 5);
    const double river = riverDistance(x, y);
    if (river < 20 || std::abs(offsetFrom(y, RoadStart, RoadPeriod)) < 15 ||
        std::abs(offsetFrom(y, LineStart, LinePeriod)) < 20)
        return false;
    double along = std::abs(place.x - x), across = std::abs(place.y - y);
    if (house.chance(0.5)) std::swap(along, across);
    const double halfLength = house.between(5.5, 8.5), halfWidth = house.between(4, 5.5);
    if (along > halfLength || across > halfWidth) return false;
    const double eaves = groundAt(x, y, river) + house.between(3.5, 7);
    beam.meet(std::max(eaves + (halfWidth - across) * 0.7, place.ground + 2.5), Surface::Roof);
    return true;
}

/// Every row of trees is pushed aside by its own distance, so that no pattern of squares shows.
void Landscape::meetTree(Beam& beam, const Place& place, double share, Random& random) const {
    const auto row = trees_.indexOf(place.y);
    const double x = place.x + trees_.cell(row, row).between(0, trees_.size());
    const auto column = trees_.indexOf(x);
    auto tree = trees_.cell(column, row);
    if (!tree.chance(share)) return;
    const double radius = tree.between(1.9, 3.2), free = 0.5 * trees_.size() - radius;
    const double dx = x - trees_.centreOf(column) - tree.between(-free, free);
    const double dy = place.y - trees_.centreOf(row) - tree.between(-free, free);
    const double outward = (dx * dx + dy * dy) / (radius * radius);
    if (outward > 1) return;
    double height = tree.between(6, 22) * (1 - 0.5 * outward) * random.between(0.93, 1);
    beam.meet(place.ground + height, vegetation(height));
    for (int deeper = 0; deeper < 2 && random.chance(0.45); ++deeper) {
        height *= random.between(0.15, 0.75);
        beam.meet(place.ground + height, vegetation(height));
    }
}

void Landscape::meetGround(Beam& beam, const Place& place, Random& random) const {
    if (beam.count > 0 && random.chance(0.45)) return; // what stands above took all of the light
    auto shrub = shrubs_.cellAt(place.x, place.y);
    double cover = shrub.chance(0.07) ? shrub.between(0.4, 1.9) * random.between(0.6, 1) : 0;
    if (cover == 0 && random.chance(0.1)) cover = random.between(0.08, 0.45);
    if (beam.count > 0) cover = std::min(cover, 0.6 * (beam.hits[beam.count - 1].z - place.ground));
    if (cover > 0) beam.meet(place.ground + cover, vegetation(cover));
    if (cover == 0 || (cover > 0.5 && random.chance(0.3)))
        beam.meet(place.ground + 0.04 * random.bell(), Surface::Ground);
}

Beam Landscape::probe(double x, double y, Random& random) {
    const double river = riverDistance(x, y);
    const Place place{x, y, river, groundAt(x, y, river), offsetFrom(y, LineStart, LinePeriod)};
    Beam beam;
    if (meetNoise(beam, place, random)) return beam;
    if (place.isCleared() && meetTower(beam, place, random)) return beam;
    if (place.isCleared()) meetWire(beam, place, random);
    if (std::abs(offsetFrom(y, RoadStart, RoadPeriod)) < RoadHalfWidth) {
        const bool onBridge = river < BridgeHalfLength;
        beam.meet(onBridge ? WaterLevel + BridgeHeight : place.ground, onBridge ? Surface::BridgeDeck : Surface::Road);
    } else if (river < RiverHalfWidth) {
        if (random.chance(0.7)) beam.meet(WaterLevel + 0.02 * random.bell(), Surface::Water);
    } else {
        const auto use = useOf(plots_.indexOf(x), plots_.indexOf(y));
        if (!place.isCleared()) {
            if (use == Use::Village && meetRoof(beam, place)) return beam;
            meetTree(beam, place, use == Use::Wood ? 0.85 : use == Use::Village ? 0.12 : 0.03, random);
        }
        meetGround(beam, place, random);
    }
    return beam;
}

bool Landscape::isMistaken(double x, double y, Random& random) const {
    return random.chance(patches_.cellAt(x, y).chance(0.03) ? 0.7 : 0.008);
}

} // namespace corvane
