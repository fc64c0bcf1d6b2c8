// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "las/CopcNodes.hpp"
#include "las/PointSpill.hpp"

#include <functional>
#include <memory>
#include <vector>

namespace corvane {

/// How many points lie in the cells of a node, which divide it up to 2^7 times along each axis.
class CellCounts {
public:
    CellCounts(const CopcCube& cube, const NodeKey& node);

    void add(const CubePosition& position) { ++counts_[static_cast<std::size_t>(bits_)][cellOf(position)]; }

    /// Sums up the coarser cells; the last call before those below.
    void finish();

    /// Points of a cell of the node's cube divided 2^bits times. Children of a cell c are 8c to 8c + 7, in their order.
    std::uint64_t points(int bits, std::size_t cell) const { return counts_[static_cast<std::size_t>(bits)][cell]; }
    int bits() const { return bits_; } ///< the finest that there are

    /// How many cells have points.
    std::size_t inhabited(int bits) const;

private:
    std::size_t cellOf(const CubePosition& position) const;

    int bits_, shift_;
    std::vector<std::vector<std::uint64_t>> counts_; // by bits
};

/// A part of the octree whose points are on disc.
struct SpilledPart {
    NodeKey key;
    bool whole = false; ///< all points of the one node; otherwise what is left for it and all nodes below
    PointSpill::Bin points;
};

/// Calls its argument with all records, a piece at a time.
using EachPiece = std::function<void(const std::function<void(std::span<const std::byte> records)>&)>;

/// Shares out the points of a node that do not fit into memory among it, those of its descendants that have too many,
/// and parts that fit. Gives the same nodes as in memory. Parts are in the order of their nodes: a node before its
/// children.
class CopcSpread {
public:
    struct Memory {
        std::uint64_t partPoints; ///< a part should have no more
        std::size_t bytes;        ///< that the samples and bins may take while the points are read
    };

    /// The counts are those of all the points.
    CopcSpread(const SharingRules& rules, const NodeKey& node, const CellCounts& counts, const Memory& memory);

    std::vector<SpilledPart> run(const CopcCube& cube, const EachPiece& eachPiece, std::size_t recordLength,
                                 PointSpill& spill);

private:
    /// A node that is too large to be left for later.
    struct Top {
        int bits;         // deeper than the node that is shared out
        std::size_t cell; // of the counts
        std::size_t part;
        NodeSample sample;
        std::array<std::size_t, 8> tops, parts; // of the children; None
    };
    static constexpr std::size_t None = static_cast<std::size_t>(-1);

    void chooseTops(const CellCounts& counts, const Memory& memory);
    void addTop(int bits, std::size_t cell);
    void orderParts(const CellCounts& counts, std::size_t top, const NodeKey& key);
    std::size_t partOf(const CubePosition& position);

    const SharingRules& rules_;
    NodeKey node_;
    std::vector<Top> tops_; // the first one is the node
    std::vector<SpilledPart> parts_;
};

} // namespace corvane
