// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "las/CopcNodes.hpp"

#include <cstdint>
#include <vector>

namespace corvane {

/// A node and where its chunk lies.
struct StoredNode {
    NodeKey key;
    std::uint64_t offset = 0; ///< in the file
    std::uint64_t bytes = 0, points = 0;
};

/// The pages of a hierarchy, one behind the other.
struct HierarchyPages {
    std::vector<std::byte> bytes;
    std::uint64_t rootBytes = 0; ///< of the first page
};

/// Nodes must come before their children, and all of a subtree behind one another. Pages have at most so many entries,
/// which must be at least 9: where a subtree has more, its largest parts have pages of their own. `offset` is that of
/// the first page in the file.
HierarchyPages hierarchyPages(const std::vector<StoredNode>& nodes, std::size_t mostEntries, std::uint64_t offset);

} // namespace corvane
