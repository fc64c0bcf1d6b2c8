// SPDX-License-Identifier: Apache-2.0
#include "las/CopcWriter.hpp"

#include "las/CopcBuilder.hpp"
#include "las/HeaderPlaces.hpp"
#include "las/LittleEndian.hpp"
#include "laz/ChunkTable.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <limits>

namespace corvane {
namespace {

constexpr std::size_t HeaderSize = 375, VlrHead = 54, EvlrHead = 60; // bytes
constexpr std::uint8_t VersionMinor = 4, CompressedBit = 0x80;
constexpr std::uint16_t ExternalWaveforms = 0x4, WktBit = 0x10; // of the global encoding
constexpr std::size_t InfoBytes = 160;                          // payload of copc/1

std::uint64_t begin(const LasRecord& record, std::size_t head) { return record.payloadOffset - head; }
std::uint64_t end(const LasRecord& record) { return record.payloadOffset + record.payloadLength; }

bool is(const LasRecord& record, std::string_view userId, std::uint16_t recordId) {
    return record.userId == userId && record.recordId == recordId;
}

/// What is of no use or wrong once the points are packed as nodes, in another order: how they were packed, the octree
/// that they were in, an index that names them by number.
bool goes(const LasRecord& record) {
    return is(record, "laszip encoded", 22204) || is(record, "LAStools", 30) || isCopcRecord(record);
}

/// The header as it stands in the file, without bytes of its writer's own behind the fields.
class OldHeader {
public:
    explicit OldHeader(const LasFile& las) : bytes_(las.header.headerSize) {
        las.file->read(0, bytes_);
        fields_ = LasHeader::decode(bytes_).standardSize();
    }

    std::span<const std::byte> fields() const { return std::span(bytes_).first(std::min(fields_, HeaderSize)); }

    /// Whether it holds anything that has no place in a header of version 1.4.
    bool holdsMore() const {
        const auto more = std::span(bytes_).subspan(std::min(fields().size(), bytes_.size()));
        // Times that version 1.5 has behind the fields of 1.4 are those of the points, but for what is added to them.
        constexpr std::size_t times = 16;
        const std::size_t known = fields_ > HeaderSize ? std::min(times, more.size()) : 0;
        return std::ranges::any_of(more.subspan(known), [](std::byte byte) { return byte != std::byte{0}; });
    }

private:
    std::vector<std::byte> bytes_;
    std::size_t fields_; // bytes
};

void checkSuits(const LasFile& las, int format) {
    const auto refuse = [&](const std::string& problem) {
        throw Failure(fmt::format("{}: cannot be written as COPC, {}", las.file->path(), problem));
    };
    if (format < 6 || format > 8)
        refuse(fmt::format("which has points of format 6, 7 or 8, since its points are of format {}; {}.", format,
                           format < 6 ? "convert them to one of these" : "save it as LAZ instead"));
    if (!las.holdsWkt())
        refuse(fmt::format("which says its coordinate system as WKT, since it has no record LASF_Projection 2112{}; "
                           "assign the coordinate system as WKT with a tool that knows it, or save as LAZ instead.",
                           las.crs.empty() ? "" : " and only GeoTIFF keys"));
    if (OldHeader(las).holdsMore())
        refuse(fmt::format("whose header has {} bytes of version 1.4, since {} bytes of its own header of version {} "
                           "hold more; save as LAZ instead.",
                           HeaderSize, las.header.headerSize, las.header.version()));
}

class CopcWriter {
public:
    CopcWriter(const LasFile& las, const PointReader& points, std::uint8_t pointFormat, OutputFile& output)
        : las_(las),
          points_(points),
          output_(output),
          pointFormat_(pointFormat),
          layout_(laz::Layout::standard(pointFormat, points.recordLength(), laz::Layout::Variable)) {}

    void write(const Watch& watch, const CopcBuilder::Options& options, std::size_t pageEntries) {
        writeFront();
        CopcBuilder builder(points_, layout_, output_, watch, options);
        const PointSummary& summary = builder.summarize();
        const CopcCube cube(las_.header, summary, las_.file->path());
        const std::uint64_t tablePlace = output_.size();
        output_.write(std::vector<std::byte>(sizeof(std::int64_t)));
        const auto nodes = builder.write(cube);
        writeTable(tablePlace, nodes);
        writeBehind(nodes, pageEntries);
        writeInfo(cube, summary, builder.gridBits());
        writeHeader(summary);
        las_.file->checkUnchanged();
    }

private:
    /// Header, VLRs, and what may stand between these and the points.
    void writeFront() {
        output_.write(std::vector<std::byte>(HeaderSize));
        addVlr("copc", 1, "COPC info VLR", std::vector<std::byte>(InfoBytes));
        for (const LasRecord& vlr : las_.vlrs) {
            if (goes(vlr)) continue;
            output_.copy(*las_.file, begin(vlr, VlrHead), end(vlr));
            ++vlrs_;
        }
        addVlr("laszip encoded", 22204, "compression of the points", layout_.encode());
        output_.copy(*las_.file, las_.vlrsEnd(), las_.header.offsetToPoints);
        pointsBegin_ = output_.size();
        if (pointsBegin_ > std::numeric_limits<std::uint32_t>::max())
            throw Failure(fmt::format("{}: the points would begin at offset {}, beyond what the header can say. "
                                      "Nothing was written.",
                                      las_.file->path(), pointsBegin_));
    }

    void addVlr(std::string_view userId, std::uint16_t recordId, std::string_view description,
                const std::vector<std::byte>& payload) {
        output_.write(encodeVlr(VersionMinor, userId, recordId, description, payload));
        ++vlrs_;
    }

    void writeTable(std::uint64_t place, const std::vector<StoredNode>& nodes) {
        std::vector<laz::ChunkSize> sizes;
        for (const StoredNode& node : nodes) sizes.push_back({node.points, node.bytes});
        put(place, static_cast<std::int64_t>(output_.size()));
        output_.write(laz::table::encode(layout_, sizes));
    }

    /// The EVLRs, the hierarchy as the last of them, and bytes that belong to none.
    void writeBehind(const std::vector<StoredNode>& nodes, std::size_t pageEntries) {
        std::uint64_t next = las_.pointsEnd; // of the old file
        for (const LasRecord& evlr : las_.evlrs) {
            copyBehind(next, begin(evlr, EvlrHead));
            next = end(evlr);
            if (goes(evlr)) continue;
            addEvlr();
            copyBehind(begin(evlr, EvlrHead), next);
        }
        if (las_.evlrs.empty()) copyBehind(next, oldEnd());
        addEvlr();
        pages_ = hierarchyPages(nodes, pageEntries, output_.size() + EvlrHead);
        pagesBegin_ = output_.size() + EvlrHead;
        std::vector<std::byte> head = encodeVlr(VersionMinor, "copc", 1000, "EPT Hierarchy", {});
        head.insert(head.begin() + 22, EvlrHead - VlrHead, std::byte{0}); // the length has 8 bytes instead of 2
        store(std::span(head), 20, std::uint64_t{pages_.bytes.size()});
        output_.write(head);
        output_.write(pages_.bytes);
        if (!las_.evlrs.empty()) copyBehind(next, std::max(next, oldEnd()));
    }

    void addEvlr() {
        if (evlrs_++ == 0) evlrsBegin_ = output_.size();
    }

    /// Where the old file ends but for what names its points or their chunks by place.
    std::uint64_t oldEnd() const {
        const LazBlock* block = las_.compression();
        if (!block) return las_.file->size();
        const std::uint64_t end = las_.file->size() - (block->tablePlaceLast ? sizeof(std::int64_t) : 0);
        const auto special = static_cast<std::uint64_t>(std::max<std::int64_t>(block->layout.specialOffset, 0));
        return special >= las_.pointsEnd ? std::min(special, end) : end;
    }

    void copyBehind(std::uint64_t begin, std::uint64_t end) {
        const std::uint64_t waveforms = las_.header.waveformStart;
        if (waveforms >= begin && waveforms < end) waveformsBegin_ = output_.size() + waveforms - begin;
        output_.copy(*las_.file, begin, end);
    }

    void writeInfo(const CopcCube& cube, const PointSummary& summary, int gridBits) {
        constexpr std::uint64_t info = HeaderSize + VlrHead;
        put(info, cube.center());
        put(info + 24, cube.side() / 2);
        put(info + 32, std::ldexp(cube.side(), -gridBits)); // spacing
        put(info + Copc::RootOffsetPlace, pagesBegin_);
        put(info + 48, pages_.rootBytes);
        const bool times = summary.earliest <= summary.latest;
        put(info + 56, times ? summary.earliest : 0);
        put(info + 64, times ? summary.latest : 0);
    }

    void writeHeader(const PointSummary& summary) {
        const LasHeader& header = las_.header;
        const OldHeader old(las_);
        output_.writeAt(0, old.fields());
        put(place::GlobalEncoding, static_cast<std::uint16_t>(header.globalEncoding | WktBit));
        put(place::VersionMajor, std::array<std::uint8_t, 2>{1, VersionMinor});
        put(place::HeaderSize, static_cast<std::uint16_t>(HeaderSize));
        put(place::OffsetToPoints, static_cast<std::uint32_t>(pointsBegin_));
        put(place::VlrCount, vlrs_);
        put(place::PointFormat, static_cast<std::uint8_t>(pointFormat_ | CompressedBit));
        put(place::RecordLength, static_cast<std::uint16_t>(points_.recordLength()));
        put(place::LegacyCount, std::array<std::uint32_t, 6>{}); // of points and of five returns
        put(place::Scale, header.scale);
        put(place::Offset, header.offset);
        for (std::size_t axis = 0; axis < 3; ++axis) putBounds(axis, summary);
        const bool external = (header.globalEncoding & ExternalWaveforms) != 0;
        put(place::WaveformStart, waveformsBegin_ > 0 && !external ? waveformsBegin_ : header.waveformStart);
        put(place::EvlrStart, evlrsBegin_);
        put(place::EvlrCount, evlrs_);
        put(place::PointCount, summary.count);
        put(place::ReturnCounts, summary.returnCounts);
    }

    void putBounds(std::size_t axis, const PointSummary& summary) {
        const auto coordinate = [&](std::int32_t stored) {
            return summary.count > 0 ? stored * las_.header.scale[axis] + las_.header.offset[axis] : 0.0;
        };
        const double one = coordinate(summary.least[axis]), other = coordinate(summary.most[axis]);
        put(place::Bounds + 16 * axis, std::max(one, other)); // the scale may be negative
        put(place::Bounds + 16 * axis + 8, std::min(one, other));
    }

    template <class T>
    void put(std::uint64_t offset, T value) {
        std::array<std::byte, sizeof value> bytes;
        store(std::span<std::byte>(bytes), 0, value);
        output_.writeAt(offset, bytes);
    }

    const LasFile& las_;
    const PointReader& points_;
    OutputFile& output_;
    std::uint8_t pointFormat_;
    laz::Layout layout_;
    HierarchyPages pages_;
    std::uint32_t vlrs_ = 0, evlrs_ = 0; // written
    std::uint64_t pointsBegin_ = 0, evlrsBegin_ = 0, pagesBegin_ = 0;
    std::uint64_t waveformsBegin_ = 0; // 0: none behind the points
};

} // namespace

void writeCopc(const LasFile& las, const PointReader& points, std::uint8_t pointFormat, OutputFile& output,
               const Watch& watch, std::size_t memoryBytes, const CopcLimits& limits) {
    checkSuits(las, pointFormat);
    CopcWriter(las, points, pointFormat, output).write(watch, {memoryBytes, limits.nodePoints}, limits.pageEntries);
}

} // namespace corvane
