// SPDX-License-Identifier: Apache-2.0
#include "survey/SurveySample.hpp"

#include "base/Failure.hpp"
#include "las/PointCodec.hpp"

#include <algorithm>
#include <iterator>
#include <map>
#include <memory>

namespace corvane {
namespace {

/// About a page of records: shorter runs would take as long to read.
constexpr std::size_t RunPoints = 128;

/// Of a chunk, whose layers are read before its first point is there.
constexpr std::size_t HeadPoints = 512;

/// So many are decoded in a moment; of them those are kept that are wanted. Neighbours in a chunk are neighbours on the
/// ground, so that more of them show more.
constexpr std::size_t QuicklyDecoded = 262'144;

using Ranges = std::vector<PointRange>; // ascending

/// Runs of records, the same way apart.
Ranges spreadRuns(std::uint64_t points, std::size_t wanted) {
    const std::uint64_t runs = (wanted + RunPoints - 1) / RunPoints;
    Ranges ranges;
    for (std::uint64_t run = 0; run < runs; ++run) {
        const auto place = static_cast<long double>(run) / static_cast<long double>(runs);
        ranges.push_back({static_cast<std::uint64_t>(place * static_cast<long double>(points)), RunPoints});
    }
    return ranges;
}

using Chunks = std::vector<const LazChunk*>;

std::uint64_t pointsOf(const Chunks& chunks) {
    std::uint64_t points = 0;
    for (const LazChunk* chunk : chunks) points += chunk->sound;
    return points;
}

/// The first points of chunks: of all, or of as many that each has a run.
Ranges headsOf(const Chunks& chunks, std::size_t wanted) {
    const std::size_t used = std::clamp<std::size_t>(wanted / HeadPoints, 1, chunks.size());
    const double share = double(wanted) / double(pointsOf(chunks)) * double(chunks.size()) / double(used);
    Ranges ranges;
    for (std::size_t i = 0; i < used; ++i) {
        const LazChunk& chunk = *chunks[i * chunks.size() / used];
        const auto count = static_cast<std::uint64_t>(double(chunk.sound) * share + 0.5);
        const std::uint64_t most = std::min<std::uint64_t>(chunk.sound, wanted);
        ranges.push_back({chunk.first, static_cast<std::size_t>(std::clamp<std::uint64_t>(count, 1, most))});
    }
    return ranges;
}

Ranges chunkHeads(const LazBlock& block, std::size_t wanted) {
    Chunks chunks;
    for (const LazChunk& chunk : block.chunks)
        if (chunk.sound > 0) chunks.push_back(&chunk);
    return chunks.empty() ? Ranges() : headsOf(chunks, wanted);
}

/// Whole nodes, level by level from the root, as many as fit; of a level that does not fit, the heads of nodes.
Ranges upperNodes(const Copc& copc, const LazBlock& block, std::size_t wanted) {
    std::map<std::int32_t, Chunks> levels;
    for (std::size_t i = 0; i < block.chunks.size(); ++i)
        if (block.chunks[i].sound > 0) levels[copc.entries[copc.nodeOfChunk[i]].level].push_back(&block.chunks[i]);
    Ranges ranges;
    std::uint64_t room = wanted;
    for (const auto& [level, chunks] : levels) {
        const std::uint64_t points = std::min(pointsOf(chunks), room);
        if (points == 0) break;
        std::ranges::copy(headsOf(chunks, static_cast<std::size_t>(points)), std::back_inserter(ranges));
        room -= points;
    }
    std::ranges::sort(ranges, {}, &PointRange::first);
    return ranges;
}

/// They neither overlap nor reach behind the last point.
Ranges within(Ranges ranges, std::uint64_t points) {
    std::uint64_t end = 0;
    for (PointRange& range : ranges) {
        const std::uint64_t behind = std::min(range.first + range.count, points);
        range.first = std::max(range.first, end);
        range.count = behind > range.first ? static_cast<std::size_t>(behind - range.first) : 0;
        end = std::max(end, range.first + range.count);
    }
    std::erase_if(ranges, [](const PointRange& range) { return range.count == 0; });
    return ranges;
}

Ranges rangesFor(const LasFile& las, std::size_t wanted) {
    const std::uint64_t points = las.points->count();
    if (points <= wanted) return {{0, static_cast<std::size_t>(points)}};
    const LazBlock* block = las.compression();
    if (!block || block->chunks.empty()) return spreadRuns(points, wanted);
    const bool nodes = las.copc && las.copc->nodeOfChunk.size() == block->chunks.size();
    const std::size_t decoded = std::max(wanted, QuicklyDecoded);
    return nodes ? upperNodes(*las.copc, *block, decoded)
                 : chunkHeads(*block, static_cast<std::size_t>(std::min<std::uint64_t>(decoded, points)));
}

/// The points of records, of which every so manieth is kept.
class Taker {
public:
    Taker(const LasFile& las, std::uint64_t every, SurveySample& sample)
        : las_(las), classes_(las.find(ClassificationName)), every_(every), sample_(sample) {}

    WantedBytes wanted() const {
        WantedBytes bytes;
        for (const char* name : {"X", "Y", "Z"}) bytes.push_back(las_.find(name)->place());
        if (classes_) bytes.push_back(classes_->place());
        return bytes;
    }

    void take(std::span<const std::byte> records, std::uint64_t first) {
        const std::size_t stride = las_.points->recordLength(), count = records.size() / stride;
        positions_.resize(count);
        values_.resize(count);
        decodePositions(records, stride, las_.header, std::span(positions_));
        if (classes_ && classes_->packed())
            decodeBits<std::uint8_t>(records, stride, *classes_, values_);
        else if (classes_)
            decodeValues<std::uint8_t, std::uint8_t>(records, stride, *classes_, values_);
        for (std::size_t i = 0; i < count; ++i) {
            if (seen_++ % every_ != 0) continue;
            sample_.numbers.push_back(first + i);
            sample_.positions.push_back(positions_[i]);
            sample_.classes.push_back(values_[i]);
        }
    }

private:
    const LasFile& las_;
    const Dimension* classes_;
    std::uint64_t every_, seen_ = 0;
    SurveySample& sample_;
    std::vector<Sextant::PhysicalSpace::point> positions_;
    std::vector<std::uint8_t> values_;
};

} // namespace

SurveySample sampleOf(const LasFile& las, std::size_t wanted, const Watch& watch) {
    SurveySample sample;
    sample.points = las.points->count();
    if (wanted == 0 || sample.points == 0) return sample;
    const Ranges ranges = within(rangesFor(las, wanted), sample.points);
    std::uint64_t read = 0;
    for (const PointRange& range : ranges) read += range.count;
    Taker taker(las, std::max<std::uint64_t>((read + wanted / 2) / wanted, 1), sample);
    const WantedBytes bytes = taker.wanted();
    const std::size_t stride = las.points->recordLength(), piece = las.points->recordsIn(PointReader::CachedBytes);
    std::vector<std::byte> records;
    std::uint64_t done = 0;
    for (const PointRange& range : ranges) {
        const auto cursor = las.points->from(range.first, bytes);
        for (std::size_t first = 0; first < range.count; first += piece) {
            watch(done, read, "Looking at " + las.file->path());
            const std::size_t count = std::min(piece, range.count - first);
            records.resize(count * stride);
            cursor->next(records);
            taker.take(records, range.first + first);
            done += count;
        }
    }
    return sample;
}

} // namespace corvane
