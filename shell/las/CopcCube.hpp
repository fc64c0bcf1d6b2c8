// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "las/LasHeader.hpp"
#include "las/LittleEndian.hpp"
#include "las/PointReader.hpp"

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <span>

namespace corvane {

/// Where the fields lie that an octree file is made by, in records of formats 6 to 10.
namespace record14 {
constexpr std::size_t Coordinates = 0, Returns = 14, Time = 22;
constexpr std::size_t CoordinateBytes = 12, TimeBytes = 8;
} // namespace record14

/// What the points of a file are like taken together, whatever its header says. Records are of formats 6 to 10.
struct PointSummary {
    std::uint64_t count = 0;
    std::array<std::int32_t, 3> least, most;                   ///< stored coordinates; undefined without points
    std::array<std::uint64_t, 15> returnCounts{};              ///< of returns 1 to 15
    double earliest = std::numeric_limits<double>::infinity(); ///< GPS time; not less than the latest: there is none
    double latest = -std::numeric_limits<double>::infinity();

    PointSummary() {
        least.fill(std::numeric_limits<std::int32_t>::max());
        most.fill(std::numeric_limits<std::int32_t>::min());
    }

    void add(std::span<const std::byte> records, std::size_t stride);
    void add(const PointSummary& other);

    /// What has to be read of each record.
    static WantedBytes wanted();
};

/// Where a point lies in the root cube: parts of its side per axis, the whole side being 2^31.
using CubePosition = std::array<std::uint32_t, 3>;
constexpr int CubePositionBits = 31;

/// The deepest level that an octree may have: keys are 32-bit integers.
constexpr int DeepestLevel = 30;

/// The cube around all points. It begins half a unit of the scale below the smallest coordinates, so that where cells
/// are whole units wide no point lies on a border.
class CopcCube {
public:
    /// Throws Failure when it would be too large for a number. Of no points: a cube of one unit.
    CopcCube(const LasHeader& header, const PointSummary& points, const std::string& path);

    double side() const { return side_; }
    std::array<double, 3> center() const;

    /// The level from which on a node's cube is no wider than one unit, so that all its points lie in one place; at
    /// least 1.
    int finestLevel() const { return finestLevel_; }

    CubePosition position(const std::byte* record) const {
        CubePosition position;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            std::int32_t stored;
            std::memcpy(&stored, record + record14::Coordinates + 4 * axis, sizeof stored);
            const auto units = static_cast<double>(std::abs(std::int64_t{stored} - begin_[axis])) + 0.5;
            position[axis] = std::min(static_cast<std::uint32_t>(units * parts_[axis]), LastPosition);
        }
        return position;
    }

private:
    static constexpr std::uint32_t LastPosition = (std::uint32_t{1} << CubePositionBits) - 1;

    std::array<std::int64_t, 3> begin_{}; // stored coordinates; the largest where the scale is negative
    std::array<double, 3> low_{};         // corner
    std::array<double, 3> parts_{};       // of the side per unit
    double side_ = 0;
    int finestLevel_ = 1;
};

} // namespace corvane
