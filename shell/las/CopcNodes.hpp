// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "las/CopcCube.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace corvane {

/// A cube of the octree: its level, and which of the 2^level along each axis.
struct NodeKey {
    int level = 0;
    std::array<std::uint32_t, 3> place{};

    /// One of the eight halves: bit 0 says which along X, bit 1 along Y, bit 2 along Z.
    NodeKey child(unsigned which) const {
        return {level + 1, {place[0] * 2 + (which & 1), place[1] * 2 + (which >> 1 & 1), place[2] * 2 + (which >> 2)}};
    }

    bool operator==(const NodeKey&) const = default;
};

/// In which child of its node on this level, which is not the deepest, a point lies.
inline unsigned childOf(const CubePosition& position, int level) {
    const int bit = CubePositionBits - 1 - level;
    return (position[0] >> bit & 1) | (position[1] >> bit & 1) << 1 | (position[2] >> bit & 1) << 2;
}

/// How points are shared out among nodes.
struct SharingRules {
    std::size_t nodePoints = 0; ///< a node that is left with no more points takes them all
    int gridBits = 0;           ///< the cube of a node is divided into 2^gridBits cells along each axis
    int finestLevel = 0;        ///< see CopcCube

    static constexpr int MostGridBits = 7;

    /// How many of the points that are left a node takes on whose level they all lie in one place. None of the levels
    /// below can tell them apart, so that they are dealt out.
    std::uint64_t shareInOnePlace(std::uint64_t left, int level) const {
        const auto levels = static_cast<std::uint64_t>(DeepestLevel - level + 1);
        return std::min(left, std::max<std::uint64_t>(nodePoints, (left + levels - 1) / levels));
    }
};

/// Which points a node with too many takes: the first one in each cell of its cube, so that they lie about a cell
/// apart. The rest goes to its children.
class NodeSample {
public:
    NodeSample(const SharingRules& rules, int level)
        : bits_(std::min(rules.gridBits, CubePositionBits - level)),
          shift_(CubePositionBits - level - bits_),
          room_(rules.nodePoints),
          taken_(bytes(bits_) / sizeof(std::uint64_t)) {}

    /// Whether the node takes the next of its points.
    bool takes(const CubePosition& position) {
        if (room_ == 0) return false;
        const std::uint32_t mask = (1U << bits_) - 1;
        const std::size_t cell = ((position[2] >> shift_ & mask) << bits_ | (position[1] >> shift_ & mask)) << bits_ |
                                 (position[0] >> shift_ & mask);
        std::uint64_t& word = taken_[cell / 64];
        const std::uint64_t bit = std::uint64_t{1} << cell % 64;
        if ((word & bit) != 0) return false;
        word |= bit;
        --room_;
        return true;
    }

    /// That one takes for a grid of so many bits.
    static constexpr std::size_t bytes(int bits) { return std::max<std::size_t>(std::size_t{1} << 3 * bits >> 3, 8); }

private:
    int bits_, shift_;
    std::size_t room_; // points
    std::vector<std::uint64_t> taken_;
};

/// Points in memory that are shared out among the nodes of a subtree. Nodes come before their children, those in their
/// order; points of a node stay in theirs.
class Subtree {
public:
    struct Node {
        NodeKey key;
        std::size_t first, count; ///< points of the order
    };

    /// What each point takes besides its record.
    static constexpr std::size_t BytesPerPoint = 2 * sizeof(std::uint32_t) + 1;

    /// All the points that are left for the node `root` and those below it; fewer than 2^32.
    Subtree(const CopcCube& cube, const SharingRules& rules, const NodeKey& root, std::vector<std::byte> records,
            std::size_t recordLength);

    const std::vector<Node>& nodes() const { return nodes_; }
    std::vector<std::byte> recordsOf(const Node& node) const;

private:
    void share(const NodeKey& key, std::size_t first, std::size_t count);
    std::array<std::size_t, 9> sortIntoChildren(const NodeKey& key, std::size_t first, std::size_t count);
    const std::byte* record(std::uint32_t point) const { return records_.data() + point * recordLength_; }

    const CopcCube& cube_;
    const SharingRules& rules_;
    std::vector<std::byte> records_;
    std::size_t recordLength_;
    std::vector<std::uint32_t> order_, sorted_;
    std::vector<std::uint8_t> goesTo_; // where each point of the order goes: 0 the node, else 1 + the child
    std::vector<Node> nodes_;
};

} // namespace corvane
