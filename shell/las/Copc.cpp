// SPDX-License-Identifier: Apache-2.0
#include "las/Copc.hpp"

#include "base/Failure.hpp"
#include "las/LittleEndian.hpp"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <map>
#include <set>

namespace corvane {
namespace {

constexpr std::uint16_t InfoId = 1, HierarchyId = 1000;
constexpr std::size_t InfoBytes = 160;
constexpr int DeepestLevel = 30; // keys are 32-bit integers

/// What does not fit: a clause.
struct Misfit : std::runtime_error {
    using std::runtime_error::runtime_error;
};

void expect(bool holds, const std::string& problem) {
    if (!holds) throw Misfit(problem);
}

const LasRecord* find(const std::vector<LasRecord>& records, std::uint16_t id) {
    const auto found = std::ranges::find_if(
        records, [id](const LasRecord& record) { return record.userId == "copc" && record.recordId == id; });
    return found == records.end() ? nullptr : &*found;
}

class HierarchyReader {
public:
    HierarchyReader(const InputFile& file, const LazBlock& block, Copc& copc)
        : file_(file), block_(block), copc_(copc) {}

    void read() {
        const auto bytes = readPayload(file_, copc_.info, InfoBytes);
        expect(bytes.size() == InfoBytes,
               fmt::format("the record copc/1 has {} bytes instead of {}", bytes.size(), InfoBytes));
        for (std::size_t axis = 0; axis < 3; ++axis) copc_.center[axis] = load<double>(bytes, 8 * axis);
        copc_.halfSide = load<double>(bytes, 24);
        copc_.spacing = load<double>(bytes, 32);
        copc_.rootOffset = load<std::uint64_t>(bytes, Copc::RootOffsetPlace);
        expectCube();
        expect(block_.layout.variable(), "its chunks have a fixed size");
        readPages(load<std::uint64_t>(bytes, 48));
        matchChunks();
    }

private:
    struct Page {
        std::uint64_t offset, bytes;
    };

    void expectCube() const {
        for (const double center : copc_.center)
            expect(copc_.halfSide > 0 && std::isfinite(std::abs(center) + 2 * copc_.halfSide),
                   fmt::format("the octree has half a side of {} around {}", copc_.halfSide, center));
    }

    /// Each page once, so that pages which name each other end; and no more entries than there is room for, so that
    /// pages which share their entries do.
    void readPages(std::uint64_t rootBytes) {
        std::vector<Page> pages{{copc_.rootOffset, rootBytes}};
        std::set<std::uint64_t> known{copc_.rootOffset};
        while (!pages.empty()) {
            const Page page = pages.back();
            pages.pop_back();
            for (const CopcEntry& entry : readPage(page)) {
                if (entry.page()) {
                    expect(known.insert(entry.offset).second,
                           fmt::format("two entries name the page at offset {}", entry.offset));
                    pages.push_back({entry.offset, static_cast<std::uint64_t>(std::max(entry.bytes, 0))});
                }
                copc_.entries.push_back(entry);
            }
            const std::uint64_t most = copc_.hierarchy.payloadLength / CopcEntry::Size;
            expect(copc_.entries.size() <= most,
                   fmt::format("its pages have more than the {} entries that the record copc/1000 has room for", most));
        }
    }

    std::vector<CopcEntry> readPage(const Page& page) const {
        const LasRecord& record = copc_.hierarchy;
        const std::uint64_t end = record.payloadOffset + record.payloadLength;
        expect(page.offset >= record.payloadOffset && page.offset <= end && page.bytes <= end - page.offset,
               fmt::format("a page of {} bytes at offset {} is not in the record copc/1000", page.bytes, page.offset));
        expect(page.bytes % CopcEntry::Size == 0, fmt::format("a page has {} bytes", page.bytes));
        std::vector<std::byte> bytes(page.bytes);
        file_.read(page.offset, bytes);
        std::vector<CopcEntry> entries;
        for (std::size_t at = 0; at < bytes.size(); at += CopcEntry::Size) {
            CopcEntry entry{load<std::int32_t>(bytes, at),       load<std::int32_t>(bytes, at + 4),
                            load<std::int32_t>(bytes, at + 8),   load<std::int32_t>(bytes, at + 12),
                            load<std::uint64_t>(bytes, at + 16), load<std::int32_t>(bytes, at + 24),
                            load<std::int32_t>(bytes, at + 28),  page.offset + at};
            expect(entry.level >= 0 && entry.level <= DeepestLevel, fmt::format("a node has level {}", entry.level));
            const bool within = std::ranges::all_of(std::array{entry.x, entry.y, entry.z}, [&](std::int32_t key) {
                return key >= 0 && key < std::int32_t{1} << entry.level;
            });
            expect(within,
                   fmt::format("a node of level {} has the key {} {} {}", entry.level, entry.x, entry.y, entry.z));
            entries.push_back(entry);
        }
        return entries;
    }

    void matchChunks() {
        std::map<std::uint64_t, std::size_t> nodes; // by where the chunk begins
        for (std::size_t i = 0; i < copc_.entries.size(); ++i)
            if (copc_.entries[i].points > 0)
                expect(nodes.emplace(copc_.entries[i].offset, i).second,
                       fmt::format("two nodes name the chunk at offset {}", copc_.entries[i].offset));
        expect(nodes.size() == block_.chunks.size(),
               fmt::format("there are {} nodes with points and {} chunks", nodes.size(), block_.chunks.size()));
        for (const LazChunk& chunk : block_.chunks) {
            const auto node = nodes.find(chunk.offset);
            expect(node != nodes.end(), fmt::format("no node names the chunk at offset {}", chunk.offset));
            const CopcEntry& entry = copc_.entries[node->second];
            expect(static_cast<std::uint64_t>(entry.points) == chunk.points &&
                       static_cast<std::uint64_t>(entry.bytes) == chunk.bytes,
                   fmt::format("the node of the chunk at offset {} has {} points and {} bytes, the chunk {} and {}",
                               chunk.offset, entry.points, entry.bytes, chunk.points, chunk.bytes));
            copc_.nodeOfChunk.push_back(node->second);
        }
    }

    const InputFile& file_;
    const LazBlock& block_;
    Copc& copc_;
};

} // namespace

Copc::Box Copc::boxOf(const CopcEntry& node) const {
    const double side = std::ldexp(2 * halfSide, -node.level);
    const std::array<std::int32_t, 3> key{node.x, node.y, node.z};
    Box box;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        box.low[axis] = center[axis] - halfSide + key[axis] * side;
        box.high[axis] = box.low[axis] + side;
    }
    return box;
}

bool isCopcRecord(const LasRecord& record) {
    return record.userId == "copc" && (record.recordId == InfoId || record.recordId == HierarchyId);
}

std::optional<Copc> readCopc(const InputFile& file, const LazBlock& block, const std::vector<LasRecord>& vlrs,
                             const std::vector<LasRecord>& evlrs, std::vector<std::string>& warnings) {
    const LasRecord* info = find(vlrs, InfoId);
    const LasRecord* hierarchy = find(evlrs, HierarchyId) ? find(evlrs, HierarchyId) : find(vlrs, HierarchyId);
    if (!info && !hierarchy) return std::nullopt;
    try {
        expect(info && hierarchy, fmt::format("there is no record copc/{}", info ? HierarchyId : InfoId));
        expect(info == &vlrs.front(), "the record copc/1 is not the first");
        Copc copc;
        copc.info = *info;
        copc.hierarchy = *hierarchy;
        HierarchyReader(file, block, copc).read();
        return copc;
    } catch (const Misfit& misfit) {
        warnings.push_back(fmt::format("The file carries records of a COPC that do not fit it ({}); it is read as a "
                                       "plain LAZ, and saving drops them.",
                                       misfit.what()));
        return std::nullopt;
    }
}

} // namespace corvane
