// SPDX-License-Identifier: Apache-2.0
#include "check/PointFacts.hpp"

#include "check/PointTally.hpp"
#include "check/RecordColumns.hpp"
#include "las/PointCodec.hpp"

#include <algorithm>

namespace corvane {
namespace {

/// A dimension of a few bits, or of a byte.
class SmallValue {
public:
    explicit SmallValue(const Dimension* dimension)
        : offset_(dimension ? dimension->offset : 0),
          shift_(dimension ? dimension->firstBit : 0),
          mask_(dimension ? dimension->largestValue() : 0) {}

    unsigned of(std::span<const std::byte> record) const {
        return std::to_integer<unsigned>(record[offset_]) >> shift_ & mask_;
    }

private:
    std::size_t offset_;
    unsigned shift_, mask_;
};

using StoredRange = std::array<double, 2>;

} // namespace

void visitPoints(const LasFile& las, const Kesh::LimitPtr& limit, const Watch& watch,
                 const std::function<void(const PointFacts&)>& use) {
    const SmallValue value(las.find(ClassificationName)), returns(las.find("ReturnNumber")),
        synthetic(las.find("Synthetic")), keyPoint(las.find("KeyPoint")), withheld(las.find("Withheld"));
    const std::uint64_t total = las.points->count();
    const std::size_t stride = las.points->recordLength();
    const std::string work = "Looking at the points of " + las.file->path();
    RecordColumns columns(las, limit, {});
    const auto look = [&](std::span<const std::byte> records, std::size_t first, std::size_t count) {
        PointFacts point;
        columns.take(records);
        for (const std::uint32_t i : columns.selected()) {
            point.index = first + i;
            point.record = records.subspan(i * stride, stride);
            for (std::size_t axis = 0; axis < 3; ++axis)
                point.stored[axis] = codec::integerAt(point.record.data() + axis * sizeof(std::int32_t));
            point.value = value.of(point.record);
            point.flags = synthetic.of(point.record) * PointTally::Synthetic +
                          keyPoint.of(point.record) * PointTally::KeyPoint +
                          withheld.of(point.record) * PointTally::Withheld;
            point.returnNumber = returns.of(point.record);
            use(point);
        }
        watch(first + count, total, work);
    };
    las.points->forPieces({0, static_cast<std::size_t>(total)}, {}, look);
}

PointTest outsideItsNode(const LasFile& las) {
    struct Node {
        std::uint64_t first;
        std::array<StoredRange, 3> bounds;
    };
    std::vector<Node> nodes;
    const auto& chunks = las.compression()->chunks;
    for (std::size_t i = 0; i < chunks.size(); ++i) {
        const Copc::Box cube = las.copc->boxOf(las.copc->entries[las.copc->nodeOfChunk[i]]);
        Node node{chunks[i].first, {}};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double a = (cube.low[axis] - las.header.offset[axis]) / las.header.scale[axis];
            const double b = (cube.high[axis] - las.header.offset[axis]) / las.header.scale[axis];
            node.bounds[axis] = {std::min(a, b) - BoundsTolerance, std::max(a, b) + BoundsTolerance};
        }
        nodes.push_back(node);
    }
    return [nodes = std::move(nodes)](const PointFacts& point) {
        const auto node = std::ranges::upper_bound(nodes, point.index, {}, &Node::first) - 1;
        for (std::size_t axis = 0; axis < 3; ++axis)
            if (point.stored[axis] < node->bounds[axis][0] || point.stored[axis] > node->bounds[axis][1]) return true;
        return false;
    };
}

} // namespace corvane
