// SPDX-License-Identifier: Apache-2.0
#include "check/ChangeClusters.hpp"

#include "check/PointListing.hpp"
#include "las/CoordinateText.hpp"
#include "json/Document.hpp"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <numeric>

namespace corvane {
namespace {

constexpr std::size_t MostSquares = std::size_t{1} << 18;

/// A few times the distance between neighbouring points.
double usualSide(const LasHeader& header) {
    constexpr double spacings = 5;
    const double area = (header.maximum[0] - header.minimum[0]) * (header.maximum[1] - header.minimum[1]);
    const double spacing = std::sqrt(area / double(std::max<std::uint64_t>(header.pointCount, 1)));
    return spacing > 0 && std::isfinite(spacing) ? spacings * spacing : 1;
}

void merge(ChangeCluster& into, const ChangeCluster& other) {
    into.points += other.points;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        into.low[axis] = std::min(into.low[axis], other.low[axis]);
        into.high[axis] = std::max(into.high[axis], other.high[axis]);
    }
}

/// Which squares belong together: each points to another of its cluster, or to itself.
class Groups {
public:
    explicit Groups(std::size_t count) : parents_(count) { std::iota(parents_.begin(), parents_.end(), 0U); }

    std::size_t of(std::size_t i) {
        while (parents_[i] != i) i = parents_[i] = parents_[parents_[i]];
        return i;
    }
    void join(std::size_t a, std::size_t b) { parents_[std::max(of(a), of(b))] = std::min(of(a), of(b)); }

private:
    std::vector<std::size_t> parents_;
};

} // namespace

ChangeClusters::ChangeClusters(const LasFile& las, double side)
    : side_(side > 0 ? side : usualSide(las.header)), origin_{las.header.offset[0], las.header.offset[1]} {}

void ChangeClusters::addTo(Squares& squares, const Square& square, const ChangeCluster& points) {
    const auto [found, isNew] = squares.try_emplace(square, points);
    if (!isNew) merge(found->second, points);
}

void ChangeClusters::add(const std::array<double, 3>& position, Transition transition) {
    const auto place = [&](std::size_t axis) {
        constexpr double farthest = 4503599627370496.0; // 2^52: headers may place points anywhere
        return static_cast<std::int64_t>(
            std::clamp(std::floor((position[axis] - origin_[axis]) / side_), -farthest, farthest));
    };
    addTo(squares_, {transition, place(0), place(1)}, {transition, 1, position, position});
    while (squares_.size() > MostSquares) coarsen();
}

void ChangeClusters::coarsen() {
    Squares larger;
    for (const auto& [square, points] : squares_)
        addTo(larger, {square.transition, square.column >> 1, square.row >> 1}, points);
    squares_ = std::move(larger);
    side_ *= 2;
}

std::vector<ChangeCluster> ChangeClusters::clusters() const {
    std::map<Square, std::size_t> numbers;
    for (const auto& [square, points] : squares_) numbers.emplace(square, numbers.size());
    Groups groups(numbers.size());
    for (const auto& [square, number] : numbers)
        for (const auto& [right, up] : {std::pair(-1, 1), std::pair(0, 1), std::pair(1, 1), std::pair(1, 0)})
            if (const auto next = numbers.find({square.transition, square.column + right, square.row + up});
                next != numbers.end())
                groups.join(number, next->second);
    std::map<std::size_t, ChangeCluster> joined;
    for (const auto& [square, points] : squares_) {
        const auto [found, isNew] = joined.try_emplace(groups.of(numbers.at(square)), points);
        if (!isNew) merge(found->second, points);
    }
    std::vector<ChangeCluster> clusters;
    for (const auto& [group, cluster] : joined) clusters.push_back(cluster);
    std::ranges::stable_sort(clusters, std::greater(), &ChangeCluster::points);
    return clusters;
}

void writeClusters(const LasFile& las, const std::vector<ChangeCluster>& clusters,
                   const std::function<std::string(int value)>& nameOf,
                   const std::function<void(std::string_view)>& sink) {
    const auto name = [&](int value) { return json::Value(nameOf(value)).dump(); };
    sink(fmt::format(R"({{"type": "FeatureCollection", {}"features": [)", geoJsonCrs(las)));
    const char* separator = "";
    for (const ChangeCluster& cluster : clusters) {
        const auto [from, to] = cluster.transition;
        const auto text = [&](const std::array<double, 3>& corner, std::size_t axis) {
            return coordinateText(las.header, axis, corner[axis]);
        };
        const std::string left = text(cluster.low, 0), right = text(cluster.high, 0), lower = text(cluster.low, 1),
                          upper = text(cluster.high, 1);
        sink(separator);
        sink(fmt::format(R"(
{{"type": "Feature", "geometry": {{"type": "Polygon", "coordinates": [[[{0}, {2}], [{1}, {2}], [{1}, {3}], [{0}, {3}], )"
                         R"([{0}, {2}]]]}}, )",
                         left, right, lower, upper));
        sink(fmt::format(R"("properties": {{"from": {}, "fromName": {}, "to": {}, "toName": {}, "points": {}, )"
                         R"("zMin": {}, "zMax": {}}}}})",
                         from, name(from), to, name(to), cluster.points, text(cluster.low, 2), text(cluster.high, 2)));
        separator = ",";
    }
    sink("\n]}\n");
}

} // namespace corvane
