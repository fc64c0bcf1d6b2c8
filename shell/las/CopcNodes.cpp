// SPDX-License-Identifier: Apache-2.0
#include "las/CopcNodes.hpp"

#include <numeric>

namespace corvane {

Subtree::Subtree(const CopcCube& cube, const SharingRules& rules, const NodeKey& root, std::vector<std::byte> records,
                 std::size_t recordLength)
    : cube_(cube), rules_(rules), records_(std::move(records)), recordLength_(recordLength) {
    const std::size_t count = records_.size() / recordLength_;
    order_.resize(count);
    std::iota(order_.begin(), order_.end(), std::uint32_t{0});
    if (count > rules_.nodePoints) {
        sorted_.resize(count);
        goesTo_.resize(count);
    }
    if (count > 0) share(root, 0, count);
    sorted_ = {};
    goesTo_ = {};
}

std::vector<std::byte> Subtree::recordsOf(const Node& node) const {
    std::vector<std::byte> records(node.count * recordLength_);
    std::byte* to = records.data();
    for (std::size_t i = node.first; i < node.first + node.count; ++i, to += recordLength_)
        std::memcpy(to, record(order_[i]), recordLength_);
    return records;
}

void Subtree::share(const NodeKey& key, std::size_t first, std::size_t count) {
    if (count <= rules_.nodePoints) {
        nodes_.push_back({key, first, count});
        return;
    }
    if (key.level >= rules_.finestLevel) {
        const std::size_t taken = rules_.shareInOnePlace(count, key.level);
        nodes_.push_back({key, first, taken});
        if (taken == count) return;
        const unsigned which = childOf(cube_.position(record(order_[first])), key.level);
        return share(key.child(which), first + taken, count - taken);
    }
    const auto counts = sortIntoChildren(key, first, count);
    nodes_.push_back({key, first, counts[0]});
    first += counts[0];
    for (unsigned which = 0; which < 8; first += counts[++which])
        if (counts[which + 1] > 0) share(key.child(which), first, counts[which + 1]);
}

/// Puts the points that the node takes in front, then those of each child. Returns their numbers.
std::array<std::size_t, 9> Subtree::sortIntoChildren(const NodeKey& key, std::size_t first, std::size_t count) {
    NodeSample sample(rules_, key.level);
    std::array<std::size_t, 9> counts{};
    for (std::size_t i = first; i < first + count; ++i) {
        const auto position = cube_.position(record(order_[i]));
        goesTo_[i] = static_cast<std::uint8_t>(sample.takes(position) ? 0 : 1 + childOf(position, key.level));
        ++counts[goesTo_[i]];
    }
    std::array<std::size_t, 9> next{};
    std::exclusive_scan(counts.begin(), counts.end(), next.begin(), first);
    for (std::size_t i = first; i < first + count; ++i) sorted_[next[goesTo_[i]]++] = order_[i];
    std::copy_n(sorted_.begin() + static_cast<std::ptrdiff_t>(first), count,
                order_.begin() + static_cast<std::ptrdiff_t>(first));
    return counts;
}

} // namespace corvane
