// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "sample/Random.hpp"
#include "sample/Surface.hpp"

#include <array>
#include <cassert>
#include <cstddef>
#include <cstdint>

namespace corvane {

/// What one beam straight down met, from above.
struct Beam {
    struct Hit {
        double z; ///< metres
        Surface surface;
    };
    static constexpr std::size_t MostHits = 5; ///< as many as every point format can count

    std::array<Hit, MostHits> hits;
    std::size_t count = 0;

    void meet(double z, Surface surface) {
        assert(count < MostHits);
        hits[count++] = {z, surface};
    }
};

/// std::floor is a call on processors of the oldest kind; this is not.
inline std::int64_t wholeBelow(double value) {
    const auto whole = static_cast<std::int64_t>(value);
    return whole - (static_cast<double>(whole) > value);
}

/// Squares of the plane with random properties of their own, the same whenever one comes back.
class Lattice {
public:
    Lattice(std::uint64_t seed, double size) : seed_(mixed(seed)), inverse_(1 / size), size_(size) {}

    double size() const { return size_; }
    std::int64_t indexOf(double position) const { return wholeBelow(position * inverse_); }
    double centreOf(std::int64_t index) const { return (static_cast<double>(index) + 0.5) * size_; }
    Random cell(std::int64_t column, std::int64_t row) const;
    Random cellAt(double x, double y) const { return cell(indexOf(x), indexOf(y)); }

    /// A smooth surface between 0 and 1 through a random value at every corner.
    double relief(double x, double y);

private:
    std::uint64_t seed_;
    double inverse_, size_;

    // The corners of the square that was asked for last: a beam mostly lands beside the one before.
    std::int64_t column_ = INT64_MIN, row_ = INT64_MIN;
    std::array<double, 4> corners_{};
};

/// Invented country without end: hills, a river, a road with a bridge, a power line, fields, woods and villages.
/// Metres, of which the first 160 in x and y have something of everything; a seed has one landscape.
class Landscape {
public:
    explicit Landscape(std::uint64_t seed);

    /// `random` decides what the same beam would meet or miss another time. May meet nothing, over water.
    Beam probe(double x, double y, Random& random);

    /// An automatic classification errs here and there, and in some places nearly always.
    bool isMistaken(double x, double y, Random& random) const;

private:
    struct Place;
    enum class Use { Field, Wood, Village };

    double riverDistance(double x, double y);
    double groundAt(double x, double y, double river);
    Use useOf(std::int64_t column, std::int64_t row) const;
    bool meetNoise(Beam& beam, const Place& place, Random& random) const;
    bool meetTower(Beam& beam, const Place& place, Random& random) const;
    void meetWire(Beam& beam, const Place& place, Random& random);
    bool meetRoof(Beam& beam, const Place& place);
    void meetTree(Beam& beam, const Place& place, double share, Random& random) const;
    void meetGround(Beam& beam, const Place& place, Random& random) const;
    double wireHeight(const Place& place, double height);

    Lattice hills_, mounds_, bumps_, bends_, districts_, plots_, houses_, trees_, shrubs_, patches_;
};

} // namespace corvane
