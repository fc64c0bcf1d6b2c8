// SPDX-License-Identifier: Apache-2.0
#include "las/CopcHierarchy.hpp"

#include "las/Copc.hpp"
#include "las/LittleEndian.hpp"

#include <algorithm>

namespace corvane {
namespace {

constexpr std::int32_t PageMark = -1; // in the place of the number of points

class PageMaker {
public:
    PageMaker(const std::vector<StoredNode>& nodes, std::size_t mostEntries)
        : nodes_(nodes),
          mostEntries_(mostEntries),
          end_(nodes.size()),
          entries_(nodes.size(), 1),
          ownPage_(nodes.size()),
          pageOffset_(nodes.size()) {
        findEnds();
        cutIntoPages();
    }

    HierarchyPages make(std::uint64_t offset) {
        std::uint64_t next = offset;
        for (std::size_t node = 0; node < nodes_.size(); ++node) {
            pageOffset_[node] = next;
            if (ownPage_[node]) next += entries_[node] * CopcEntry::Size;
        }
        HierarchyPages pages;
        for (std::size_t node = 0; node < nodes_.size(); ++node)
            if (ownPage_[node]) addPage(pages.bytes, node);
        pages.rootBytes = entries_.front() * CopcEntry::Size;
        return pages;
    }

private:
    /// Behind each node's subtree.
    void findEnds() {
        for (std::size_t node = nodes_.size(); node-- > 0;) {
            end_[node] = node + 1;
            while (end_[node] < nodes_.size() && nodes_[end_[node]].key.level > nodes_[node].key.level)
                end_[node] = end_[end_[node]];
        }
    }

    void cutIntoPages() {
        for (std::size_t node = nodes_.size(); node-- > 0;) {
            std::vector<std::size_t> children;
            for (std::size_t child = node + 1; child < end_[node]; child = end_[child]) {
                children.push_back(child);
                entries_[node] += entries_[child];
            }
            std::ranges::stable_sort(children, std::greater(), [&](std::size_t child) { return entries_[child]; });
            for (std::size_t i = 0; i < children.size() && entries_[node] > mostEntries_; ++i) {
                ownPage_[children[i]] = true;
                entries_[node] -= entries_[children[i]] - 1; // one that names the page stays
            }
        }
        if (!nodes_.empty()) ownPage_.front() = true;
    }

    void addPage(std::vector<std::byte>& bytes, std::size_t root) const {
        for (std::size_t node = root; node < end_[root];) {
            const StoredNode& stored = nodes_[node];
            const bool other = node != root && ownPage_[node];
            if (other)
                addEntry(bytes, stored.key, pageOffset_[node], entries_[node] * CopcEntry::Size, PageMark);
            else
                addEntry(bytes, stored.key, stored.offset, stored.bytes, static_cast<std::int32_t>(stored.points));
            node = other ? end_[node] : node + 1;
        }
    }

    static void addEntry(std::vector<std::byte>& bytes, const NodeKey& key, std::uint64_t offset, std::uint64_t size,
                         std::int32_t points) {
        const std::size_t at = bytes.size();
        bytes.resize(at + CopcEntry::Size);
        const auto entry = std::span(bytes).subspan(at);
        store(entry, 0, static_cast<std::int32_t>(key.level));
        store(entry, 4, key.place);
        store(entry, CopcEntry::OffsetPlace, offset);
        store(entry, CopcEntry::OffsetPlace + 8, static_cast<std::int32_t>(size));
        store(entry, CopcEntry::OffsetPlace + 12, points);
    }

    const std::vector<StoredNode>& nodes_;
    std::size_t mostEntries_;
    std::vector<std::size_t> end_;          // behind the subtree of each node
    std::vector<std::size_t> entries_;      // of the page that would begin with each node
    std::vector<bool> ownPage_;             // whether it does
    std::vector<std::uint64_t> pageOffset_; // in the file, of those that do
};

} // namespace

HierarchyPages hierarchyPages(const std::vector<StoredNode>& nodes, std::size_t mostEntries, std::uint64_t offset) {
    if (nodes.empty()) return hierarchyPages({StoredNode{}}, mostEntries, offset);
    return PageMaker(nodes, mostEntries).make(offset);
}

} // namespace corvane
