// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "las/LasFile.hpp"

#include <array>
#include <compare>
#include <cstdint>
#include <functional>
#include <map>
#include <string_view>
#include <vector>

namespace corvane {

/// What became of a value.
struct Transition {
    std::uint16_t from = 0, to = 0;

    auto operator<=>(const Transition&) const = default;
};

/// Points of one transition that lie together.
struct ChangeCluster {
    Transition transition;
    std::uint64_t points = 0;
    std::array<double, 3> low{}, high{}; ///< box around them
};

/// Finds out where points changed. Points of one transition are together when they lie in the same or neighbouring
/// squares; of very many squares four become one. So it takes little memory for any survey.
class ChangeClusters {
public:
    /// `side` of the squares, in the survey's unit; 0: some points wide, by what the header says of them.
    explicit ChangeClusters(const LasFile& las, double side = 0);

    void add(const std::array<double, 3>& position, Transition transition);

    /// The largest first.
    std::vector<ChangeCluster> clusters() const;

    /// Of the squares as they are now.
    double side() const { return side_; }

private:
    struct Square {
        Transition transition;
        std::int64_t column = 0, row = 0;

        auto operator<=>(const Square&) const = default;
    };
    using Squares = std::map<Square, ChangeCluster>;

    static void addTo(Squares& squares, const Square& square, const ChangeCluster& points);
    void coarsen();

    double side_;
    std::array<double, 2> origin_;
    Squares squares_;
};

/// Writes the boxes of the clusters as GeoJSON in the survey's coordinates, a piece at a time.
void writeClusters(const LasFile& las, const std::vector<ChangeCluster>& clusters,
                   const std::function<std::string(int value)>& nameOf,
                   const std::function<void(std::string_view)>& sink);

} // namespace corvane
