// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/OutputFile.hpp"
#include "base/Watch.hpp"
#include "las/ChunkPacker.hpp"
#include "las/CopcHierarchy.hpp"
#include "las/CopcSpread.hpp"

#include <functional>
#include <optional>
#include <vector>

namespace corvane {

/// Shares the points of a survey out among the nodes of an octree and appends a chunk for each to a file: each node
/// before its children, and these in their order. Only as many points are in memory as it may take.
class CopcBuilder {
public:
    struct Options {
        std::size_t memoryBytes;
        std::size_t nodePoints; ///< at most in a node
    };

    /// All must outlive it. Records are of formats 6 to 8.
    CopcBuilder(const PointReader& points, const laz::Layout& layout, OutputFile& output, const Watch& watch,
                const Options& options);

    /// Reads all points once.
    const PointSummary& summarize();

    /// After that, writes the chunks of all points. Returns the nodes in the order of their chunks.
    std::vector<StoredNode> write(const CopcCube& cube);

    /// How often the side of a cube is to be halved for the distance of its node's points.
    int gridBits() const { return rules_.gridBits; }

private:
    /// A node that is ready to be packed.
    struct Job {
        NodeKey key;
        std::uint64_t points;
        std::function<std::vector<std::byte>()> records;
    };

    EachPiece allPoints(const WantedBytes& wanted);
    EachPiece spilled(const PointSpill::Bin& bin);
    std::vector<std::byte> allRecords();
    CellCounts count(const NodeKey& node, const EachPiece& eachPiece) const;
    void chooseGrid(const CellCounts& counts);

    std::vector<SpilledPart> spread(const NodeKey& node, CellCounts counts, const EachPiece& eachPiece);
    void writeParts(std::vector<SpilledPart> parts);
    void writePart(SpilledPart part);
    void writeOnePlace(SpilledPart part);
    void writeSubtree(const NodeKey& node, std::vector<std::byte> records);
    Job jobOf(const NodeKey& key, const PointSpill::Bin& bin, std::uint64_t first, std::uint64_t points) const;
    void pack(std::vector<Job> jobs);
    void checkFits(std::uint64_t number, const char* of) const;
    void advance(std::uint64_t points);

    const PointReader& points_;
    ChunkPacker packer_;
    OutputFile& output_;
    const Watch& watch_;
    Options options_;
    std::size_t recordLength_;
    std::uint64_t partPoints_; // that may be in memory at once
    SharingRules rules_;
    PointSummary summary_;
    const CopcCube* cube_ = nullptr;
    std::optional<PointSpill> spill_;
    std::vector<SpilledPart> waiting_; // whole nodes that come before the next ones
    std::vector<StoredNode> nodes_;
    std::uint64_t done_ = 0, total_ = 0; // points, each once for every time that it is gone through
};

} // namespace corvane
