// SPDX-License-Identifier: Apache-2.0
#include "las/FormatChange.hpp"

#include "base/Failure.hpp"
#include "las/LittleEndian.hpp"
#include "las/StandardClasses.hpp"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <optional>

namespace corvane {
namespace {

constexpr unsigned WktBit = 1 << 4;
constexpr double AngleUnit = 0.006;    // degrees, of formats 6 to 10; that of the others is one degree
constexpr std::size_t SharedHead = 14; // bytes that all formats begin with: coordinates and intensity

/// Bytes in front of the first dimension that is copied by its name; those before are told by PointBits.
std::size_t namedFrom(std::uint8_t format) { return isLegacyFormat(format) ? 20 : 22; }

struct Copied {
    std::size_t from, to, bytes;
};

const Dimension* find(const std::vector<Dimension>& dimensions, std::string_view name) {
    const auto found = std::ranges::find(dimensions, name, &Dimension::name);
    return found == dimensions.end() ? nullptr : &*found;
}

/// The bits that all formats have, in the places of neither.
struct PointBits {
    unsigned number, count, direction, edge, classification, flags; // flags: synthetic, key-point, withheld, overlap
    unsigned channel;
    int angle; // in AngleUnit
    std::uint8_t user;
    std::uint16_t source;
};

int angleOfRank(int rank) { return static_cast<int>(std::lround(rank / AngleUnit)); }

PointBits legacyBits(std::span<const std::byte> record) {
    const unsigned returns = load<std::uint8_t>(record, 14), classes = load<std::uint8_t>(record, 15);
    return {returns & 7,
            returns >> 3 & 7,
            returns >> 6 & 1,
            returns >> 7,
            classes & 31,
            classes >> 5,
            0,
            angleOfRank(load<std::int8_t>(record, 16)),
            load<std::uint8_t>(record, 17),
            load<std::uint16_t>(record, 18)};
}

PointBits extendedBits(std::span<const std::byte> record) {
    const unsigned returns = load<std::uint8_t>(record, 14), flags = load<std::uint8_t>(record, 15);
    return {returns & 15,
            returns >> 4,
            flags >> 6 & 1,
            flags >> 7,
            load<std::uint8_t>(record, 16),
            flags & 15,
            flags >> 4 & 3,
            load<std::int16_t>(record, 18),
            load<std::uint8_t>(record, 17),
            load<std::uint16_t>(record, 20)};
}

void putExtended(std::span<std::byte> record, const PointBits& bits) {
    store(record, 14, static_cast<std::uint8_t>(bits.number | bits.count << 4));
    store(record, 15, static_cast<std::uint8_t>(bits.flags | bits.channel << 4 | bits.direction << 6 | bits.edge << 7));
    store(record, 16, static_cast<std::uint8_t>(bits.classification));
    store(record, 17, bits.user);
    store(record, 18, static_cast<std::int16_t>(bits.angle));
    store(record, 20, bits.source);
}

/// What of the point a format from 0 to 5 has no room for; empty when all fits.
std::string lossIn(const PointBits& bits) {
    if (bits.number > 7 || bits.count > 7) return fmt::format("return {} of {}", bits.number, bits.count);
    if (bits.classification > LargestLegacyClass) return fmt::format("class {}", bits.classification);
    if (bits.flags > 7) return "the overlap flag";
    if (bits.channel > 0) return fmt::format("scanner channel {}", bits.channel);
    const auto rank = std::lround(bits.angle * AngleUnit);
    if (std::abs(rank) > 127 || angleOfRank(static_cast<int>(rank)) != bits.angle)
        return fmt::format("a scan angle of {:.3f} degrees", bits.angle * AngleUnit);
    return "";
}

void putLegacy(std::span<std::byte> record, const PointBits& bits) {
    store(record, 14, static_cast<std::uint8_t>(bits.number | bits.count << 3 | bits.direction << 6 | bits.edge << 7));
    store(record, 15, static_cast<std::uint8_t>(bits.classification | bits.flags << 5));
    store(record, 16, static_cast<std::int8_t>(std::lround(bits.angle * AngleUnit)));
    store(record, 17, bits.user);
    store(record, 18, bits.source);
}

/// Reads records of one format and gives those of another.
class ReformattedPoints : public PointReader {
public:
    ReformattedPoints(const LasFile& las, std::uint8_t format)
        : PointReader(las.points->count(),
                      las.header.recordLength - recordLengthOf(las.header.pointFormat) + recordLengthOf(format)),
          points_(las.points),
          path_(las.file->path()),
          fromLegacy_(isLegacyFormat(las.header.pointFormat)),
          toLegacy_(isLegacyFormat(format)),
          format_(format) {
        const auto old = dimensionsOf(las.header.pointFormat), now = dimensionsOf(format);
        for (const Dimension& dimension : now) {
            const Dimension* before = find(old, dimension.name);
            if (before && before->offset >= namedFrom(las.header.pointFormat) && dimension.offset >= namedFrom(format))
                copied_.push_back({before->offset, dimension.offset, sizeOf(dimension.storage)});
        }
        const std::size_t oldLength = recordLengthOf(las.header.pointFormat);
        if (las.header.recordLength > oldLength)
            copied_.push_back({oldLength, recordLengthOf(format), las.header.recordLength - oldLength});
    }

    std::unique_ptr<PointCursor> from(std::uint64_t first, const WantedBytes&) const override {
        return std::make_unique<Cursor>(*this, first);
    }
    std::vector<PointRange> ranges(std::size_t points, Joining joining) const override {
        return points_->ranges(points, joining);
    }

private:
    class Cursor : public PointCursor {
    public:
        Cursor(const ReformattedPoints& points, std::uint64_t first)
            : points_(points), original_(points.points_->from(first)), next_(first) {}

        void next(std::span<std::byte> records) override {
            const std::size_t stride = points_.recordLength(), oldStride = points_.points_->recordLength();
            const std::size_t count = records.size() / stride;
            buffer_.resize(count * oldStride);
            original_->next(buffer_);
            for (std::size_t i = 0; i < count; ++i)
                points_.convert(std::span(buffer_).subspan(i * oldStride, oldStride),
                                records.subspan(i * stride, stride), next_++);
        }

    private:
        const ReformattedPoints& points_;
        std::unique_ptr<PointCursor> original_;
        std::vector<std::byte> buffer_;
        std::uint64_t next_;
    };

    void convert(std::span<const std::byte> from, std::span<std::byte> to, std::uint64_t point) const {
        std::ranges::fill(to, std::byte{0});
        std::ranges::copy(from.first(SharedHead), to.begin());
        const PointBits bits = fromLegacy_ ? legacyBits(from) : extendedBits(from);
        if (!toLegacy_)
            putExtended(to, bits);
        else if (const std::string loss = fromLegacy_ ? "" : lossIn(bits); loss.empty())
            putLegacy(to, bits);
        else
            throw Failure(
                fmt::format("{}: point {} has {}, for which point format {} has no room; choose one from 6 to "
                            "10. Nothing was written.",
                            path_, point, loss, format_));
        for (const Copied& bytes : copied_) std::ranges::copy(from.subspan(bytes.from, bytes.bytes), &to[bytes.to]);
    }

    std::shared_ptr<const PointReader> points_;
    std::string path_;
    bool fromLegacy_, toLegacy_;
    std::uint8_t format_;
    std::vector<Copied> copied_;
};

void refuseLosses(const LasFile& las, std::uint8_t format) {
    const auto now = dimensionsOf(format);
    for (const Dimension& dimension : dimensionsOf(las.header.pointFormat)) {
        const bool elsewhere = dimension.name == "Overlap" || dimension.name == "ScanChannel" ||
                               dimension.name == "ScanAngle" || dimension.name == "ScanAngleRank";
        if (elsewhere || find(now, dimension.name)) continue;
        throw Failure(
            fmt::format("{}: the points of format {} have the dimension \"{}\", which format {} lacks; choose a "
                        "format that has it. Nothing was written.",
                        las.file->path(), las.header.pointFormat, dimension.name, format));
    }
}

LasHeader headerFor(const LasFile& las, std::uint8_t format, std::size_t recordLength) {
    LasHeader header = las.header;
    header.pointFormat = format;
    header.recordLength = static_cast<std::uint16_t>(recordLength);
    if (!isLegacyFormat(format) && header.versionMinor < 4) {
        header.versionMinor = 4;
        header.headerSize =
            static_cast<std::uint16_t>(header.headerSize + header.standardSize() - las.header.standardSize());
    }
    if (!isLegacyFormat(format) && las.holdsWkt()) header.globalEncoding |= WktBit;
    return header;
}

/// What makes points stand for those of another format goes: they are what they are from now on.
void dropForm(const LasFile& las, FileChange& change) {
    constexpr std::size_t longest = 1 << 16;
    for (const LasRecord& vlr : las.vlrs) {
        if (isCompatibilityRecord(vlr)) change.removeVlr(vlr.begin(), vlr.end());
        if (!isExtraBytesRecord(vlr)) continue;
        const auto rest = las.compatibility->withoutOwn(readPayload(*las.file, vlr, longest));
        if (rest.size() == vlr.payloadLength) continue;
        if (!rest.empty()) change.insertVlr(vlr.begin(), replacePayload(*las.file, vlr, rest));
        change.removeVlr(vlr.begin(), vlr.end());
    }
}

} // namespace

FormatChange changeFormat(const LasFile& las, std::uint8_t pointFormat) {
    refuseLosses(las, pointFormat);
    FormatChange result{pointFormat, std::make_shared<const ReformattedPoints>(las, pointFormat), {}, {}};
    const LasHeader header = headerFor(las, pointFormat, result.points->recordLength());
    std::vector<std::byte> bytes = header.encode();
    bytes.resize(header.standardSize()); // what somebody put behind it stays
    result.change.replaceHeader(las.header.standardSize(), std::move(bytes));
    if (las.compatibility) dropForm(las, result.change);
    if (!isLegacyFormat(pointFormat) && !las.crs.empty() && !las.holdsWkt())
        result.notices.push_back(
            fmt::format("Point format {} asks for the coordinate system as WKT; the file has GeoTIFF "
                        "keys, which stay.",
                        pointFormat));
    return result;
}

} // namespace corvane
