// SPDX-License-Identifier: Apache-2.0
#include "las/CopcSpread.hpp"

#include <queue>
#include <tuple>

namespace corvane {
namespace {

constexpr int MostBits = 7;

/// The bits with two zeros between each and the next.
constexpr auto Spaced = [] {
    std::array<std::uint32_t, 1 << MostBits> spaced{};
    for (std::uint32_t value = 0; value < spaced.size(); ++value)
        for (int bit = 0; bit < MostBits; ++bit) spaced[value] |= (value >> bit & 1) << 3 * bit;
    return spaced;
}();

} // namespace

CellCounts::CellCounts(const CopcCube& cube, const NodeKey& node)
    : bits_(std::clamp(cube.finestLevel() - node.level, 0, MostBits)),
      shift_(CubePositionBits - node.level - bits_),
      counts_(static_cast<std::size_t>(bits_) + 1) {
    counts_.back().resize(std::size_t{1} << 3 * bits_);
}

std::size_t CellCounts::cellOf(const CubePosition& position) const {
    const std::uint32_t mask = (1U << bits_) - 1;
    return Spaced[position[0] >> shift_ & mask] | Spaced[position[1] >> shift_ & mask] << 1 |
           Spaced[position[2] >> shift_ & mask] << 2;
}

void CellCounts::finish() {
    for (std::size_t bits = counts_.size() - 1; bits > 0; --bits) {
        auto& coarser = counts_[bits - 1];
        coarser.assign(counts_[bits].size() / 8, 0);
        for (std::size_t cell = 0; cell < counts_[bits].size(); ++cell) coarser[cell / 8] += counts_[bits][cell];
    }
}

std::size_t CellCounts::inhabited(int bits) const {
    const auto& counts = counts_[static_cast<std::size_t>(bits)];
    return counts.size() - static_cast<std::size_t>(std::ranges::count(counts, 0U));
}

CopcSpread::CopcSpread(const SharingRules& rules, const NodeKey& node, const CellCounts& counts, const Memory& memory)
    : rules_(rules), node_(node) {
    chooseTops(counts, memory);
    orderParts(counts, 0, node_);
}

/// The largest first, as long as there is memory for them and for the bins of all their children.
void CopcSpread::chooseTops(const CellCounts& counts, const Memory& memory) {
    const std::size_t each = NodeSample::bytes(rules_.gridBits) + 9 * PointSpill::BlockBytes;
    const std::size_t most = std::max<std::size_t>(memory.bytes / each, 1);
    using Candidate = std::tuple<std::uint64_t, int, std::size_t, std::size_t>; // points, -bits, cell, parent
    std::priority_queue<Candidate> candidates;
    candidates.emplace(counts.points(0, 0), 0, 0, None);
    while (!candidates.empty() && tops_.size() < most) {
        const auto [points, lessBits, cell, parent] = candidates.top();
        candidates.pop();
        const bool fits = points <= memory.partPoints;
        if (parent != None && (fits || -lessBits == counts.bits())) continue;
        if (parent != None) tops_[parent].tops[cell % 8] = tops_.size();
        addTop(-lessBits, cell);
        for (std::size_t child = 8 * cell; child < 8 * cell + 8 && -lessBits < counts.bits(); ++child)
            if (counts.points(1 - lessBits, child) > 0)
                candidates.emplace(counts.points(1 - lessBits, child), lessBits - 1, child, tops_.size() - 1);
    }
}

void CopcSpread::addTop(int bits, std::size_t cell) {
    tops_.push_back({bits, cell, None, NodeSample(rules_, node_.level + bits), {}, {}});
    tops_.back().tops.fill(None);
    tops_.back().parts.fill(None);
}

void CopcSpread::orderParts(const CellCounts& counts, std::size_t top, const NodeKey& key) {
    tops_[top].part = parts_.size();
    parts_.push_back({key, true, {}});
    for (unsigned which = 0; which < 8; ++which) {
        const std::size_t cell = 8 * tops_[top].cell + which;
        if (tops_[top].tops[which] != None) {
            orderParts(counts, tops_[top].tops[which], key.child(which));
        } else if (counts.points(tops_[top].bits + 1, cell) > 0) {
            tops_[top].parts[which] = parts_.size();
            parts_.push_back({key.child(which), false, {}});
        }
    }
}

std::vector<SpilledPart> CopcSpread::run(const CopcCube& cube, const EachPiece& eachPiece, std::size_t recordLength,
                                         PointSpill& spill) {
    eachPiece([&](std::span<const std::byte> records) {
        for (std::size_t at = 0; at < records.size(); at += recordLength) {
            const std::byte* record = records.data() + at;
            spill.add(parts_[partOf(cube.position(record))].points, record);
        }
    });
    for (SpilledPart& part : parts_) spill.settle(part.points);
    return std::move(parts_);
}

std::size_t CopcSpread::partOf(const CubePosition& position) {
    for (std::size_t top = 0;;) {
        if (tops_[top].sample.takes(position)) return tops_[top].part;
        const unsigned which = childOf(position, node_.level + tops_[top].bits);
        if (tops_[top].tops[which] == None) return tops_[top].parts[which];
        top = tops_[top].tops[which];
    }
}

} // namespace corvane
