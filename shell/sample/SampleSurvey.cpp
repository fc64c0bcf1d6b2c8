// SPDX-License-Identifier: Apache-2.0
#include "sample/SampleSurvey.hpp"

#include "base/Failure.hpp"
#include "base/OutputFile.hpp"
#include "las/LasHeader.hpp"
#include "las/LasRecords.hpp"
#include "las/LittleEndian.hpp"
#include "sample/PointEncoder.hpp"
#include "sample/Scanner.hpp"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <limits>
#include <span>
#include <vector>

namespace corvane {
namespace {

using Bytes = std::vector<std::byte>;

constexpr std::size_t BlockBytes = 1 << 20;

// Somewhere in UTM zone 32 north.
constexpr std::array<double, 3> Corner{500000, 5200000, 0};
constexpr char Wkt[] = // ends with a null in the file, too
    R"(PROJCS["WGS 84 / UTM zone 32N",GEOGCS["WGS 84",DATUM["WGS_1984",SPHEROID["WGS 84",6378137,298.257223563]],)"
    R"(PRIMEM["Greenwich",0],UNIT["degree",0.0174532925199433]],PROJECTION["Transverse_Mercator"],)"
    R"(PARAMETER["latitude_of_origin",0],PARAMETER["central_meridian",9],PARAMETER["scale_factor",0.9996],)"
    R"(PARAMETER["false_easting",500000],PARAMETER["false_northing",0],UNIT["metre",1],AUTHORITY["EPSG","32632"]])";
/// Version, revision, number of keys; then key, 0 for "here", 1 value, the value: projected, that zone, metres.
constexpr std::uint16_t GeoKeys[] = {1, 1, 0, 3, 1024, 0, 1, 1, 3072, 0, 1, 32632, 3076, 0, 1, 9001};

bool isOldest(const VersionFacts& version) { return version.minor == 0; }
bool statesTimeType(const VersionFacts& version) { return version.minor >= 2; }
bool isWide(const VersionFacts& version) { return version.minor >= 4; } // WKT and counts of 64 bits
bool statesTimeBounds(const VersionFacts& version) { return version.minor >= 5; }

const VersionFacts& versionOf(const SampleOptions& options) {
    const auto found = std::ranges::find(LasVersions, options.version, &VersionFacts::name);
    if (found == LasVersions.end())
        throw UsageError(
            fmt::format("There is no LAS version \"{}\"; expected 1.0, 1.1, 1.2, 1.3, 1.4 or 1.5.", options.version));
    const auto limit = isWide(*found) ? Scanner::MostPoints : std::numeric_limits<std::uint32_t>::max();
    if (options.points > limit)
        throw UsageError(fmt::format("A sample of {} points is too large for version {}, which takes at most {}{}.",
                                     options.points, found->name, limit, isWide(*found) ? "" : "; use version 1.4"));
    return *found;
}

std::uint8_t formatOf(const SampleOptions& options, const VersionFacts& version) {
    if (options.pointFormat == -1) return version.usualFormat;
    if (options.pointFormat < version.firstFormat || options.pointFormat > version.lastFormat)
        throw UsageError(fmt::format("LAS version {} has no point format {}; it has {} to {}.", version.name,
                                     options.pointFormat, version.firstFormat, version.lastFormat));
    return static_cast<std::uint8_t>(options.pointFormat);
}

Bytes projectionRecord(const VersionFacts& version, std::uint16_t recordId, std::span<const std::byte> payload) {
    return encodeVlr(version.minor, "LASF_Projection", recordId, "WGS 84 / UTM zone 32N", payload);
}

/// All between header and points.
Bytes recordsOf(const VersionFacts& version) {
    if (isWide(version)) return projectionRecord(version, 2112, std::as_bytes(std::span(Wkt)));
    auto bytes = projectionRecord(version, 34735, std::as_bytes(std::span(GeoKeys)));
    if (isOldest(version)) { // its signature of the points
        bytes.resize(bytes.size() + 2);
        store<std::uint16_t>(bytes, bytes.size() - 2, 0xCCDD);
    }
    return bytes;
}

class SurveyWriter {
public:
    SurveyWriter(const std::string& path, const SampleOptions& options)
        : version_(versionOf(options)),
          format_(formatOf(options, version_)),
          encoder_(format_, statesTimeType(version_) ? 3e8 : 1e5), // adjusted standard time, else seconds of the week
          file_(path, options.overwrite) {
        const auto records = recordsOf(version_);
        header_.versionMinor = version_.minor;
        header_.globalEncoding =
            static_cast<std::uint16_t>((statesTimeType(version_) ? 1 : 0) | (isWide(version_) ? 16 : 0));
        header_.systemIdentifier = "invented";
        header_.generatingSoftware = "corvane sample";
        header_.creationDay = 1; // fixed, so that the same call gives the same file
        header_.creationYear = 2026;
        header_.headerSize = static_cast<std::uint16_t>(header_.standardSize());
        header_.vlrCount = 1;
        header_.offsetToPoints = static_cast<std::uint32_t>(header_.headerSize + records.size());
        header_.pointFormat = format_;
        header_.recordLength = static_cast<std::uint16_t>(encoder_.recordLength());
        header_.offset = Corner;
        file_.write(header_.encode()); // filled in at the end
        file_.write(records);
        block_.reserve(BlockBytes + 64);
    }

    std::uint64_t written() const { return header_.pointCount; }

    /// True when a block of points went out.
    bool add(const std::vector<SamplePoint>& points) {
        for (const auto& point : points) count(point);
        const auto start = block_.size();
        block_.resize(start + points.size() * encoder_.recordLength());
        auto* record = block_.data() + start;
        for (const auto& point : points) {
            encoder_.encode(point, record);
            record += encoder_.recordLength();
        }
        if (block_.size() < BlockBytes) return false;
        flush();
        return true;
    }

    std::vector<std::string> finish() {
        flush();
        for (std::size_t axis = 0; axis < 3 && written() > 0; ++axis) {
            header_.minimum[axis] = low_[axis] * header_.scale[axis] + header_.offset[axis];
            header_.maximum[axis] = high_[axis] * header_.scale[axis] + header_.offset[axis];
        }
        auto bytes = header_.encode();
        if (statesTimeBounds(version_) && written() > 0) {
            store(bytes, 375, encoder_.timeOf(lastTime_));
            store(bytes, 383, encoder_.timeOf(firstTime_));
        }
        file_.writeAt(0, bytes);
        return file_.commit();
    }

private:
    void count(const SamplePoint& point) {
        if (header_.pointCount++ == 0) firstTime_ = point.gpsTime;
        lastTime_ = point.gpsTime;
        ++header_.returnCounts[point.returnNumber - 1u];
        for (std::size_t axis = 0; axis < 3; ++axis) {
            low_[axis] = std::min(low_[axis], point.position[axis]);
            high_[axis] = std::max(high_[axis], point.position[axis]);
        }
    }

    void flush() {
        file_.write(block_);
        block_.clear();
    }

    const VersionFacts& version_;
    std::uint8_t format_;
    PointEncoder encoder_;
    OutputFile file_;
    LasHeader header_;
    Bytes block_;
    double firstTime_ = 0, lastTime_ = 0;
    std::array<std::int32_t, 3> low_{INT32_MAX, INT32_MAX, INT32_MAX}, high_{INT32_MIN, INT32_MIN, INT32_MIN};
};

} // namespace

std::vector<std::string> writeSampleSurvey(const std::string& path, const SampleOptions& options, const Watch& watch) {
    const std::string work = "Writing " + path;
    SurveyWriter writer(path, options);
    Scanner scanner(options.points, options.seed);
    std::vector<SamplePoint> row;
    while (scanner.nextRow(row))
        if (writer.add(row)) watch(writer.written(), options.points, work);
    watch(options.points, options.points, work);
    return writer.finish();
}

} // namespace corvane
