// SPDX-License-Identifier: Apache-2.0
#include "las/InPlaceChange.hpp"

#include "base/InOrder.hpp"
#include "las/ChunkPacker.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <set>

namespace corvane {
namespace {

std::uint64_t endOf(const PointRange& range) { return range.first + range.count; }
std::uint64_t endOf(const LazChunk& chunk) { return chunk.first + chunk.points; }

/// The bytes of a record that these bits are in, in order, each once: several dimensions may share one.
std::vector<std::size_t> columnsOf(const WantedBytes& places) {
    std::set<std::size_t> columns;
    for (const laz::RecordBytes& place : places)
        for (std::size_t at = place.begin; at < place.end; ++at) columns.insert(at);
    return {columns.begin(), columns.end()};
}

/// Those bytes of one record after the other.
void gather(std::span<const std::byte> records, std::size_t stride, std::span<const std::size_t> columns,
            std::vector<std::byte>& gathered) {
    gathered.resize(records.size() / stride * columns.size());
    for (std::size_t column = 0; column < columns.size(); ++column)
        for (std::size_t to = column, at = columns[column]; to < gathered.size(); to += columns.size(), at += stride)
            gathered[to] = records[at];
}

} // namespace

InPlaceChange::InPlaceChange(const LasFile& las, const std::vector<PointRange>& edited, EditsOf editsOf,
                             const BatchSize& size)
    : las_(las), editsOf_(std::move(editsOf)), size_(size) {
    const LazBlock* block = las_.compression();
    if (!block) {
        for (const PointRange& range : edited) addUnit({range});
        return;
    }
    if (!block->layout.layered()) throw NoRoom("its points are compressed one with the other, not in layers");
    if (block->tableOffset == 0 && !block->chunks.empty()) throw NoRoom("it has no table of its chunks");
    const auto& chunks = block->chunks;
    for (const PointRange& range : edited) {
        if (!units_.empty() && range.first < endOf(units_.back().points)) continue; // one of several in a chunk
        const auto first = std::ranges::partition_point(chunks, [&](const auto& c) { return endOf(c) <= range.first; });
        const auto last = std::ranges::partition_point(chunks, [&](const auto& c) { return c.first < endOf(range); });
        const std::uint64_t begin = first->first, end = endOf(*std::prev(last));
        addUnit({{begin, static_cast<std::size_t>(end - begin)},
                 static_cast<std::size_t>(first - chunks.begin()),
                 static_cast<std::size_t>(last - first)});
    }
}

void InPlaceChange::addUnit(Unit unit) {
    unit.pointsBefore = points_;
    points_ += unit.points.count;
    units_.push_back(unit);
}

FileRuns InPlaceChange::next() {
    FileRuns batch;
    while (!done() && batch.bytes() < size_.bytes && batch.count() < size_.runs) {
        const std::size_t first = next_;
        for (std::uint64_t points = 0; !done() && points < size_.points; ++next_) points += units_[next_].points.count;
        inOrder(
            next_ - first, [&](std::size_t i) { return changeOf(units_[first + i]); },
            [&](std::size_t, const FileRuns& runs) { batch.add(runs); });
    }
    return batch;
}

FileRuns InPlaceChange::changeOf(const Unit& unit) const {
    FileRuns runs;
    const PointEdits edits = editsOf_(unit.points).storedIn(las_.compatibility);
    if (unit.chunks == 0) addRecords(unit, edits, runs);
    for (std::size_t i = 0; i < unit.chunks; ++i)
        addChunk(las_.compression()->chunks[unit.firstChunk + i], edits, runs);
    return runs;
}

/// Looks at the edited bytes of each record only: the others are many more.
void InPlaceChange::addRecords(const Unit& unit, const PointEdits& edits, FileRuns& runs) const {
    const std::size_t stride = las_.stored->recordLength();
    const std::size_t most = las_.stored->recordsIn(PointReader::CachedBytes);
    const std::vector<std::size_t> columns = columnsOf(edits.places(unit.points));
    const auto buffer = std::make_unique_for_overwrite<std::byte[]>(std::min(most, unit.points.count) * stride);
    std::vector<std::byte> before, after;
    for (std::uint64_t point = unit.points.first, count; point < endOf(unit.points); point += count) {
        count = std::min<std::uint64_t>(most, endOf(unit.points) - point);
        const std::uint64_t offset = las_.header.offsetToPoints + point * stride;
        const std::span records(buffer.get(), count * stride);
        las_.file->read(offset, records);
        gather(records, stride, columns, before);
        edits.apply(records, stride, point);
        gather(records, stride, columns, after);
        for (std::size_t at = alikeUntil(0, before, after); at < after.size(); at = alikeUntil(at + 1, before, after))
            runs.add(offset + at / columns.size() * stride + columns[at % columns.size()],
                     std::span(after).subspan(at, 1));
    }
}

void InPlaceChange::addChunk(const LazChunk& chunk, const PointEdits& edits, FileRuns& runs) const {
    try {
        const auto change = ChunkPacker(las_.compression()->layout).repackInPlace(*las_.file, chunk, edits);
        if (!change.fits)
            throw NoRoom(fmt::format("the chunk of {} points from {} on needs more bytes than it has", chunk.points,
                                     chunk.first));
        runs.addDifferences(chunk.offset, change.before, change.after);
    } catch (const laz::Error& error) {
        throw Failure(
            fmt::format("{}: in the chunk of {} points from {} on at offset {}, {}; the file is damaged, so save "
                        "what is sound of it with corvane convert. Nothing was written.",
                        las_.file->path(), chunk.points, chunk.first, chunk.offset, error.what()));
    }
}

} // namespace corvane
