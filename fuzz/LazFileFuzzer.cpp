// SPDX-License-Identifier: Apache-2.0
// A whole compressed file.
#include "Saving.hpp"
#include "base/Failure.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace {

using namespace corvane;
using fuzz::require;

constexpr std::uint64_t FewPoints = 2000;
constexpr std::uint64_t FewBytes = 1 << 20; // of records

/// What an opened file promises to those who read its points.
void checkChunks(const LasFile& las, const LazBlock& block) {
    require(block.end <= las.file->size() && las.pointsEnd == block.end);
    std::uint64_t next = 0;
    for (const LazChunk& chunk : block.chunks) {
        require(chunk.first == next && chunk.points > 0);
        require(chunk.offset <= las.file->size() && chunk.bytes <= las.file->size() - chunk.offset);
        next += chunk.points;
    }
    require(next == las.header.pointCount);
    next = 0;
    for (const PointRange& range : las.points->ranges(FewPoints)) {
        require(range.first == next && range.count > 0 && range.count <= FewPoints);
        next += range.count;
    }
    require(next == las.header.pointCount);
}

/// Some ranges, the last one first, and of each only some bytes of the records.
void readSome(const LasFile& las) {
    const std::size_t stride = las.points->recordLength();
    auto ranges = las.points->ranges(std::clamp<std::uint64_t>(FewBytes / stride, 1, FewPoints / 10));
    if (ranges.size() > 4) ranges.erase(ranges.begin() + 3, ranges.end() - 1);
    std::ranges::reverse(ranges);
    std::vector<std::byte> records;
    for (const PointRange& range : ranges) {
        records.resize(range.count * stride);
        const std::size_t byte = range.first % stride;
        las.points->read(range.first, records, {{byte, byte + 1}});
        las.points->read(range.first, records);
    }
}

/// New values of one dimension for some points in the middle.
struct Edit {
    Edit(const LasFile& las, std::size_t choice) {
        const Dimension& dimension = las.dimensions[choice % las.dimensions.size()];
        const std::uint64_t count = las.points->count(), first = count / 3;
        const std::uint64_t values = std::min<std::uint64_t>(count - first, 1 + choice % 7);
        bytes.assign(values * sizeOf(dimension.storage), std::byte{1});
        edits = PointEdits({{dimension, first, bytes}}, nullptr);
    }

    std::vector<std::byte> bytes;
    PointEdits edits;
};

/// What can be read can be edited, and gives the same records packed and expanded.
void saveEdited(const LasFile& las, std::size_t choice) {
    static const fuzz::SavedFile packed(".laz"), expanded(".las");
    auto records = fuzz::allRecords(las);
    const Edit edit(las, choice);
    edit.edits.apply(records, las.points->recordLength(), 0);
    for (const auto* file : {&packed, &expanded}) {
        const LasFile saved = file->save(las, edit.edits);
        const auto again = fuzz::allRecords(saved);
        require(again.size() == records.size() && std::memcmp(again.data(), records.data(), records.size()) == 0);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const fuzz::MemoryFile file;
    file.hold(std::as_bytes(std::span(data, size)));
    try {
        const auto las = LasFile::open(file.path);
        const LazBlock* block = las.compression();
        if (!block) return 0;
        checkChunks(las, *block);
        readSome(las);
        const std::uint64_t most = FewBytes / las.points->recordLength();
        if (las.points->count() > 0 && las.points->count() <= most) saveEdited(las, size);
    } catch (const Failure& failure) {
        // A sentence that names the file is how bad input ends.
        require(std::string_view(failure.what()).starts_with(file.path));
    }
    return 0;
}
