// SPDX-License-Identifier: Apache-2.0
#include "las/CopcBuilder.hpp"

#include "base/InOrder.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <limits>

namespace corvane {
namespace {

constexpr std::size_t MostNodeBytes = std::size_t{8} << 20; // records of a node that is packed, so that many may be
constexpr std::size_t PieceBytes = std::size_t{8} << 20;    // records that are read at once
constexpr laz::RecordBytes Coordinates{record14::Coordinates, record14::Coordinates + record14::CoordinateBytes};

std::size_t pieceOf(std::size_t recordLength) {
    return std::clamp<std::size_t>(PieceBytes / recordLength, 1, laz::Layout::UsualChunk);
}

} // namespace

CopcBuilder::CopcBuilder(const PointReader& points, const laz::Layout& layout, OutputFile& output, const Watch& watch,
                         const Options& options)
    : points_(points),
      packer_(layout),
      output_(output),
      watch_(watch),
      options_(options),
      recordLength_(points.recordLength()),
      total_(4 * points.count()) {
    rules_.nodePoints = std::min(options.nodePoints, std::max<std::size_t>(MostNodeBytes / recordLength_, 1));
    const std::uint64_t fitting = options.memoryBytes / 8 * 5 / (recordLength_ + Subtree::BytesPerPoint);
    partPoints_ = std::clamp<std::uint64_t>(fitting, 4 * rules_.nodePoints, std::numeric_limits<std::uint32_t>::max());
}

const PointSummary& CopcBuilder::summarize() {
    const auto ranges = points_.ranges(pieceOf(recordLength_));
    inOrder(
        ranges.size(),
        [&](std::size_t i) {
            std::vector<std::byte> records(ranges[i].count * recordLength_);
            points_.read(ranges[i].first, records, PointSummary::wanted());
            PointSummary summary;
            summary.add(records, recordLength_);
            return summary;
        },
        [&](std::size_t, const PointSummary& summary) {
            summary_.add(summary);
            advance(summary.count);
        });
    return summary_;
}

std::vector<StoredNode> CopcBuilder::write(const CopcCube& cube) {
    cube_ = &cube;
    rules_.finestLevel = cube.finestLevel();
    const NodeKey root;
    if (points_.count() <= partPoints_) {
        total_ = 3 * points_.count();
        auto records = allRecords();
        chooseGrid(count(root, [&](const auto& use) { use(records); }));
        writeSubtree(root, std::move(records));
    } else {
        spill_.emplace(output_.folder(), recordLength_);
        auto counts = count(root, allPoints({Coordinates}));
        chooseGrid(counts);
        writeParts(spread(root, std::move(counts), allPoints({})));
    }
    pack({}); // what still waits
    return std::move(nodes_);
}

/// Pieces of the survey, read on all threads, in their order.
EachPiece CopcBuilder::allPoints(const WantedBytes& wanted) {
    return [this, wanted](const auto& use) {
        const auto ranges = points_.ranges(pieceOf(recordLength_));
        inOrder(
            ranges.size(),
            [&](std::size_t i) {
                std::vector<std::byte> records(ranges[i].count * recordLength_);
                points_.read(ranges[i].first, records, wanted);
                return records;
            },
            [&](std::size_t i, std::span<const std::byte> records) {
                use(records);
                advance(ranges[i].count);
            });
    };
}

EachPiece CopcBuilder::spilled(const PointSpill::Bin& bin) {
    return [this, &bin](const auto& use) {
        const std::size_t piece = pieceOf(recordLength_);
        std::vector<std::byte> records;
        for (std::uint64_t first = 0; first < bin.count(); first += piece) {
            const auto points = std::min<std::uint64_t>(piece, bin.count() - first);
            records.resize(points * recordLength_);
            spill_->read(bin, first, records);
            use(records);
            advance(points);
        }
    };
}

std::vector<std::byte> CopcBuilder::allRecords() {
    std::vector<std::byte> all(points_.count() * recordLength_);
    auto to = all.begin();
    allPoints({})([&](std::span<const std::byte> records) { to = std::ranges::copy(records, to).out; });
    return all;
}

CellCounts CopcBuilder::count(const NodeKey& node, const EachPiece& eachPiece) const {
    CellCounts counts(*cube_, node);
    eachPiece([&](std::span<const std::byte> records) {
        for (std::size_t at = 0; at < records.size(); at += recordLength_)
            counts.add(cube_->position(records.data() + at));
    });
    counts.finish();
    return counts;
}

/// As fine as the root can have it without taking more than half of what a node may have, so that there is room in
/// nodes of which more is inhabited.
void CopcBuilder::chooseGrid(const CellCounts& counts) {
    rules_.gridBits = SharingRules::MostGridBits;
    const auto inhabited = [&] { return counts.inhabited(std::min(rules_.gridBits, counts.bits())); };
    while (rules_.gridBits > 1 && inhabited() > rules_.nodePoints / 2) --rules_.gridBits;
}

std::vector<SpilledPart> CopcBuilder::spread(const NodeKey& node, CellCounts counts, const EachPiece& eachPiece) {
    CopcSpread spread(rules_, node, counts, {partPoints_, options_.memoryBytes / 8 * 5});
    return spread.run(*cube_, eachPiece, recordLength_, *spill_);
}

void CopcBuilder::writeParts(std::vector<SpilledPart> parts) {
    for (SpilledPart& part : parts) writePart(std::move(part));
}

void CopcBuilder::writePart(SpilledPart part) {
    const std::uint64_t points = part.points.count();
    if (points == 0) return; // nodes above have taken them all
    if (part.whole) return waiting_.push_back(std::move(part));
    if (points <= partPoints_) {
        std::vector<std::byte> records(points * recordLength_);
        spill_->read(part.points, 0, records);
        spill_->empty(part.points);
        return writeSubtree(part.key, std::move(records));
    }
    if (part.key.level >= rules_.finestLevel) return writeOnePlace(std::move(part));
    total_ += 2 * points;
    auto parts = spread(part.key, count(part.key, spilled(part.points)), spilled(part.points));
    spill_->empty(part.points);
    writeParts(std::move(parts));
}

/// More points in one place than may be in memory: as Subtree deals them out.
void CopcBuilder::writeOnePlace(SpilledPart part) {
    std::vector<std::byte> record(recordLength_);
    spill_->read(part.points, 0, record);
    const auto position = cube_->position(record.data());
    std::vector<Job> jobs;
    NodeKey key = part.key;
    for (std::uint64_t first = 0; first < part.points.count(); first += jobs.back().points) {
        if (first > 0) key = key.child(childOf(position, key.level));
        jobs.push_back(jobOf(key, part.points, first, rules_.shareInOnePlace(part.points.count() - first, key.level)));
    }
    pack(std::move(jobs));
    spill_->empty(part.points);
}

void CopcBuilder::writeSubtree(const NodeKey& node, std::vector<std::byte> records) {
    const Subtree subtree(*cube_, rules_, node, std::move(records), recordLength_);
    std::vector<Job> jobs;
    for (const Subtree::Node& each : subtree.nodes())
        jobs.push_back({each.key, each.count, [&subtree, &each] { return subtree.recordsOf(each); }});
    pack(std::move(jobs));
}

/// Some of the points of a bin as a node.
CopcBuilder::Job CopcBuilder::jobOf(const NodeKey& key, const PointSpill::Bin& bin, std::uint64_t first,
                                    std::uint64_t points) const {
    return {key, points, [this, &bin, first, points] {
                std::vector<std::byte> records(points * recordLength_);
                spill_->read(bin, first, records);
                return records;
            }};
}

/// Appends the chunks of the nodes that wait, then of these.
void CopcBuilder::pack(std::vector<Job> jobs) {
    std::vector<Job> all;
    for (const SpilledPart& part : waiting_) all.push_back(jobOf(part.key, part.points, 0, part.points.count()));
    std::ranges::move(jobs, std::back_inserter(all));
    inOrder(
        all.size(),
        [&](std::size_t i) {
            checkFits(all[i].points, "points");
            auto chunk = packer_.pack(all[i].records());
            checkFits(chunk.size(), "bytes");
            return chunk;
        },
        [&](std::size_t i, std::span<const std::byte> chunk) {
            nodes_.push_back({all[i].key, output_.size(), chunk.size(), all[i].points});
            output_.write(chunk);
            advance(all[i].points);
        });
    for (SpilledPart& part : waiting_) spill_->empty(part.points);
    waiting_.clear();
}

void CopcBuilder::checkFits(std::uint64_t number, const char* of) const {
    constexpr std::uint64_t most = std::numeric_limits<std::int32_t>::max();
    if (number > most)
        throw Failure(fmt::format("{}: a node of the octree would have {} {}, and a COPC can have {} at most, since so "
                                  "many points lie in one place; save as LAZ instead.",
                                  output_.path(), number, of, most));
}

void CopcBuilder::advance(std::uint64_t points) {
    done_ += points;
    watch_(done_, total_, "Saving " + output_.path());
}

} // namespace corvane
