// SPDX-License-Identifier: Apache-2.0
#include "las/LasHeader.hpp"

#include "base/Text.hpp"
#include "las/Damage.hpp"
#include "las/HeaderPlaces.hpp"
#include "las/LasDimensions.hpp"
#include "las/LittleEndian.hpp"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <limits>
#include <string_view>

namespace corvane {
namespace {

constexpr std::string_view Signature = "LASF";
constexpr std::string_view Axes = "XYZ";
constexpr std::size_t TextLength = 32;
constexpr std::array MaximumNames{"MaximumX", "MaximumY", "MaximumZ"};
constexpr std::array MinimumNames{"MinimumX", "MinimumY", "MinimumZ"};

constexpr std::uint8_t FirstFormatWithoutLegacyCounts = 6;
constexpr std::uint8_t LastFormat = 10;

/// The header and what it holds twice.
struct RawHeader {
    LasHeader header;
    std::uint32_t legacyCount = 0;
    std::array<std::uint32_t, 5> legacyReturns{};
};

/// Calls `visit(name, offset, field)` for every field of the header's version, one behind the other but for the
/// version, which comes first.
template <class Raw, class Visit>
void eachField(Raw& raw, Visit visit) {
    auto& header = raw.header;
    visit("VersionMajor", place::VersionMajor, header.versionMajor);
    visit("VersionMinor", place::VersionMajor + 1, header.versionMinor);
    visit("FileSourceId", 4, header.fileSourceId);
    visit("GlobalEncoding", place::GlobalEncoding, header.globalEncoding);
    visit("ProjectId", 8, header.projectId);
    visit("SystemIdentifier", 26, header.systemIdentifier);
    visit("GeneratingSoftware", 58, header.generatingSoftware);
    visit("CreationDay", 90, header.creationDay);
    visit("CreationYear", 92, header.creationYear);
    visit("HeaderSize", place::HeaderSize, header.headerSize);
    visit("OffsetToPoints", place::OffsetToPoints, header.offsetToPoints);
    visit("VlrCount", place::VlrCount, header.vlrCount);
    visit("PointFormat", place::PointFormat, header.pointFormat);
    visit("RecordLength", place::RecordLength, header.recordLength);
    visit("LegacyPointCount", place::LegacyCount, raw.legacyCount);
    visit("LegacyReturnCounts", place::LegacyReturns, raw.legacyReturns);
    visit("Scale", place::Scale, header.scale);
    visit("Offset", place::Offset, header.offset);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        visit(MaximumNames[axis], place::Bounds + 16 * axis, header.maximum[axis]);
        visit(MinimumNames[axis], place::Bounds + 16 * axis + 8, header.minimum[axis]);
    }
    if (header.versionMinor < 3) return;
    visit("WaveformStart", place::WaveformStart, header.waveformStart);
    if (header.versionMinor < 4) return;
    visit("EvlrStart", place::EvlrStart, header.evlrStart);
    visit("EvlrCount", place::EvlrCount, header.evlrCount);
    visit("PointCount", place::PointCount, header.pointCount);
    visit("ReturnCounts", place::ReturnCounts, header.returnCounts);
}

struct FieldReader {
    std::span<const std::byte> bytes;

    template <class T>
    void operator()(const char*, std::size_t offset, T& field) const {
        if (offset + sizeof(T) <= bytes.size()) field = load<T>(bytes, offset);
    }
    void operator()(const char*, std::size_t offset, std::string& field) const {
        field = loadText(bytes, offset, TextLength);
    }
};

struct FieldWriter {
    std::span<std::byte> bytes;

    template <class T>
    void operator()(const char*, std::size_t offset, const T& field) const {
        store(bytes, offset, field);
    }
    void operator()(const char*, std::size_t offset, const std::string& field) const {
        std::memcpy(bytes.data() + offset, field.data(), std::min(field.size(), TextLength));
    }
};

/// A text without the nulls behind it, as it may be shown; those within are the writer's, too.
std::string printable(std::span<const std::byte> bytes) {
    while (!bytes.empty() && bytes.back() == std::byte{0}) bytes = bytes.first(bytes.size() - 1);
    return escaped({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

struct FieldLister {
    std::span<const std::byte> bytes;
    std::vector<HeaderField>& fields;

    template <class T>
    void operator()(const char* name, std::size_t offset, const T& field) const {
        if (offset + sizeof(T) <= bytes.size()) add(name, offset, sizeof(T), textOf(field));
    }
    void operator()(const char* name, std::size_t offset, const std::string&) const {
        add(name, offset, TextLength, printable(bytes.subspan(offset, TextLength)));
    }

private:
    void add(const char* name, std::size_t offset, std::size_t size, std::string text) const {
        const auto place = bytes.subspan(offset, size);
        fields.push_back({name, std::move(text), {place.begin(), place.end()}, offset});
    }

    template <class T>
    static std::string textOf(const T& field) {
        return fmt::format("{}", field);
    }
    template <class T, std::size_t Size>
    static std::string textOf(const std::array<T, Size>& field) {
        return fmt::format("{}", fmt::join(field, " "));
    }
    static std::string textOf(const std::array<std::uint8_t, 16>& identifier) {
        return fmt::format("{:02x}", fmt::join(identifier, ""));
    }
};

RawHeader readFields(std::span<const std::byte> bytes) {
    RawHeader raw;
    raw.header.pointCount = 0;
    eachField(raw, FieldReader{bytes});
    return raw;
}

void takeCompression(LasHeader& header) {
    constexpr std::uint8_t compressedBit = 0x80;
    header.compressed = (header.pointFormat & compressedBit) != 0;
    header.pointFormat &= static_cast<std::uint8_t>(~compressedBit);
}

void takeLegacyCounts(RawHeader& raw) {
    raw.header.pointCount = raw.legacyCount;
    raw.header.returnCounts.fill(0);
    std::ranges::copy(raw.legacyReturns, raw.header.returnCounts.begin());
}

/// Puts the counts that hold into the header, and says where the point count stands.
std::size_t settleCounts(RawHeader& raw, std::vector<std::string>& warnings) {
    const auto wide = raw.header.pointCount;
    if (raw.header.versionMinor < 4) {
        takeLegacyCounts(raw);
        return place::LegacyCount;
    }
    if (wide == raw.legacyCount || raw.legacyCount == 0) return place::PointCount;
    const bool useLegacy = wide == 0;
    warnings.push_back(
        fmt::format("The point count at offset {} is {} and the older one at offset {} is {}; the {} is used.",
                    place::PointCount, wide, place::LegacyCount, raw.legacyCount, useLegacy ? "older" : "first"));
    if (useLegacy) takeLegacyCounts(raw);
    return useLegacy ? place::LegacyCount : place::PointCount;
}

/// The checks that reading the points relies on, and the oddities that it does not mind.
class HeaderCheck {
public:
    HeaderCheck(const LasHeader& header, const std::string& path, std::uint64_t fileSize)
        : header_(header), path_(path), fileSize_(fileSize) {}

    void sizes() const {
        const auto size = header_.headerSize;
        require(size >= header_.standardSize(), place::HeaderSize, fmt::format("a header size of {} bytes", size),
                fmt::format("at least {} for version {}", header_.standardSize(), header_.version()));
        require(size <= fileSize_, place::HeaderSize, fmt::format("a header size of {} bytes", size),
                fmt::format("at most the {} of the file", fileSize_));
        const auto points = header_.offsetToPoints;
        require(points >= size && points <= fileSize_, place::OffsetToPoints,
                fmt::format("points that start at {}", points),
                fmt::format("a start from {} (end of the header) to {} (end of the file)", size, fileSize_));
    }

    void records() const {
        require(header_.pointFormat <= LastFormat, place::PointFormat,
                fmt::format("point format {}", header_.pointFormat), fmt::format("0 to {}", LastFormat));
        const auto least = recordLengthOf(header_.pointFormat);
        require(header_.recordLength >= least, place::RecordLength,
                fmt::format("a record length of {} bytes", header_.recordLength),
                fmt::format("at least {} for point format {}", least, header_.pointFormat));
    }

    void coordinates() const {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double scale = header_.scale[axis];
            const double offset = header_.offset[axis];
            require(scale != 0 && std::isfinite(scale), place::Scale + 8 * axis,
                    fmt::format("{} scale {}", Axes[axis], scale), "a finite number other than 0");
            require(std::isfinite(offset), place::Offset + 8 * axis, fmt::format("{} offset {}", Axes[axis], offset),
                    "a finite number");
            constexpr double largest = 2147483648.0;
            require(std::isfinite(std::abs(scale) * largest + std::abs(offset)), place::Scale + 8 * axis,
                    fmt::format("{} scale {} with offset {}", Axes[axis], scale, offset),
                    "numbers that give finite coordinates");
        }
    }

    void oddities(std::vector<std::string>& warnings) const {
        const auto& version = LasVersions[header_.versionMinor];
        if (header_.pointFormat < version.firstFormat || header_.pointFormat > version.lastFormat)
            warnings.push_back(fmt::format(
                "Point format {} at offset {} does not belong to version {}, which has {} to {}; "
                "the points are read all the same.",
                header_.pointFormat, place::PointFormat, header_.version(), version.firstFormat, version.lastFormat));
        for (std::size_t axis = 0; axis < 3; ++axis) bounds(axis, warnings);
    }

private:
    void require(bool holds, std::size_t offset, const std::string& found, const std::string& expected) const {
        if (!holds) throw damage(path_, offset, found, expected);
    }

    void bounds(std::size_t axis, std::vector<std::string>& warnings) const {
        const double low = header_.minimum[axis];
        const double high = header_.maximum[axis];
        const bool finite = std::isfinite(low) && std::isfinite(high);
        if (finite && (low <= high || header_.pointCount == 0)) return;
        warnings.push_back(
            fmt::format("The {} bounds at offset {} are {} to {}, which no points can have; do not rely on them.",
                        Axes[axis], place::Bounds + 16 * axis, low, high));
    }

    const LasHeader& header_;
    const std::string& path_;
    std::uint64_t fileSize_;
};

/// Checks that the bytes are the header of a version that we know, whole.
void checkBeginning(std::span<const std::byte> bytes, const std::string& path) {
    const auto signature = loadText(bytes, 0, std::min(bytes.size(), Signature.size()));
    if (!bytes.empty() && !Signature.starts_with(signature))
        throw damage(path, 0,
                     fmt::format("{:02x}", fmt::join(bytes.first(std::min(bytes.size(), Signature.size())), " ")),
                     "the signature LASF (4c 41 53 46) of a LAS file");
    if (bytes.size() < LasHeader::SmallestSize)
        throw damage(path, bytes.size(), "the end of the file",
                     fmt::format("a header of at least {} bytes", LasHeader::SmallestSize));
    const auto header = readFields(bytes).header;
    if (header.versionMajor != 1 || header.versionMinor >= LasVersions.size())
        throw damage(path, place::VersionMajor, "version " + header.version(),
                     fmt::format("1.0 to 1.{}", LasVersions.size() - 1));
    if (bytes.size() < header.standardSize())
        throw damage(path, bytes.size(), "the end of the file",
                     fmt::format("a header of {} bytes for version {}", header.standardSize(), header.version()));
}

} // namespace

std::string LasHeader::version() const { return fmt::format("{}.{}", versionMajor, versionMinor); }

std::size_t LasHeader::standardSize() const {
    return LasVersions[std::min<std::size_t>(versionMinor, LasVersions.size() - 1)].headerSize;
}

LasHeader LasHeader::decode(std::span<const std::byte> bytes) { return readFields(bytes).header; }

std::vector<HeaderField> LasHeader::fieldsIn(std::span<const std::byte> bytes) {
    std::vector<HeaderField> fields;
    const RawHeader raw = readFields(bytes);
    eachField(raw, FieldLister{bytes, fields});
    return fields;
}

LasHeader LasHeader::parse(std::span<const std::byte> bytes, const std::string& path, std::uint64_t fileSize,
                           std::vector<std::string>& warnings) {
    checkBeginning(bytes, path);
    auto raw = readFields(bytes);
    takeCompression(raw.header);
    const HeaderCheck check(raw.header, path, fileSize);
    check.sizes();
    raw.header.countPlace = settleCounts(raw, warnings);
    check.records();
    check.coordinates();
    check.oddities(warnings);
    return raw.header;
}

std::vector<std::byte> LasHeader::encode() const {
    RawHeader raw{*this, 0, {}};
    constexpr std::uint64_t largest = std::numeric_limits<std::uint32_t>::max();
    const bool fits = pointCount <= largest && std::ranges::max(returnCounts) <= largest;
    if (versionMinor < 4 && !fits)
        throw Failure(fmt::format("{} points cannot be counted in a file of version {}; use version 1.4.", pointCount,
                                  version()));
    if (versionMinor < 4 || (fits && pointFormat < FirstFormatWithoutLegacyCounts)) {
        raw.legacyCount = static_cast<std::uint32_t>(pointCount);
        for (std::size_t i = 0; i < raw.legacyReturns.size(); ++i)
            raw.legacyReturns[i] = static_cast<std::uint32_t>(returnCounts[i]);
    }
    std::vector<std::byte> bytes(std::max<std::size_t>(headerSize, standardSize()));
    std::memcpy(bytes.data(), Signature.data(), Signature.size());
    eachField(raw, FieldWriter{bytes});
    return bytes;
}

} // namespace corvane
