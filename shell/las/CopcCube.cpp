// SPDX-License-Identifier: Apache-2.0
#include "las/CopcCube.hpp"

#include "base/Failure.hpp"

#include <algorithm>
#include <fmt/format.h>

namespace corvane {

void PointSummary::add(std::span<const std::byte> records, std::size_t stride) {
    constexpr std::uint8_t returnNumber = 0x0F;
    for (std::size_t at = 0; at < records.size(); at += stride) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const auto stored = load<std::int32_t>(records, at + record14::Coordinates + 4 * axis);
            least[axis] = std::min(least[axis], stored);
            most[axis] = std::max(most[axis], stored);
        }
        const auto number = load<std::uint8_t>(records, at + record14::Returns) & returnNumber;
        if (number > 0) ++returnCounts[static_cast<std::size_t>(number) - 1];
        const auto time = load<double>(records, at + record14::Time);
        if (!std::isfinite(time)) continue;
        earliest = std::min(earliest, time);
        latest = std::max(latest, time);
    }
    count += records.size() / stride;
}

void PointSummary::add(const PointSummary& other) {
    count += other.count;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        least[axis] = std::min(least[axis], other.least[axis]);
        most[axis] = std::max(most[axis], other.most[axis]);
    }
    for (std::size_t i = 0; i < returnCounts.size(); ++i) returnCounts[i] += other.returnCounts[i];
    earliest = std::min(earliest, other.earliest);
    latest = std::max(latest, other.latest);
}

WantedBytes PointSummary::wanted() {
    using namespace record14;
    return {{Coordinates, Coordinates + CoordinateBytes}, {Returns, Returns + 1}, {Time, Time + TimeBytes}};
}

CopcCube::CopcCube(const LasHeader& header, const PointSummary& points, const std::string& path) {
    double smallestUnit = std::numeric_limits<double>::infinity();
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double scale = header.scale[axis], unit = std::abs(scale);
        const std::int64_t least = points.count > 0 ? points.least[axis] : 0;
        const std::int64_t most = points.count > 0 ? points.most[axis] : 0;
        begin_[axis] = scale > 0 ? least : most;
        low_[axis] = static_cast<double>(begin_[axis]) * scale + header.offset[axis] - unit / 2;
        side_ = std::max(side_, static_cast<double>(most - least + 1) * unit);
        smallestUnit = std::min(smallestUnit, unit);
    }
    if (!std::isfinite(2 * side_))
        throw Failure(fmt::format("{}: a cube around the points would have a side of {}, too large to be divided; "
                                  "correct the scale in the header.",
                                  path, side_));
    for (std::size_t axis = 0; axis < 3; ++axis)
        parts_[axis] = std::ldexp(std::abs(header.scale[axis]) / side_, CubePositionBits);
    while (finestLevel_ < DeepestLevel && std::ldexp(side_, -finestLevel_) > smallestUnit) ++finestLevel_;
}

std::array<double, 3> CopcCube::center() const {
    return {low_[0] + side_ / 2, low_[1] + side_ / 2, low_[2] + side_ / 2};
}

} // namespace corvane
