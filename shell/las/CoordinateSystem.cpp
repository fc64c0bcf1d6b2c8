// SPDX-License-Identifier: Apache-2.0
#include "las/CoordinateSystem.hpp"

#include "las/LittleEndian.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <optional>

namespace corvane {
namespace {

constexpr std::uint16_t WktRecord = 2112, KeyRecord = 34735, DoubleRecord = 34736, TextRecord = 34737;

/// More than any coordinate system needs; an EVLR may claim as much as the file holds.
constexpr std::size_t PayloadLimit = 1 << 20;

/// Characters, after which no further keys are described. Keys may refer to the same values, and so say more than the
/// file holds.
constexpr std::size_t DescriptionLimit = 1 << 16;

/// The payload of the first such record, VLRs before EVLRs; empty when there is none.
class ProjectionRecords {
public:
    ProjectionRecords(const InputFile& file, const std::vector<LasRecord>& vlrs, const std::vector<LasRecord>& evlrs)
        : file_(file), vlrs_(vlrs), evlrs_(evlrs) {}

    std::vector<std::byte> payload(std::uint16_t recordId) const {
        for (const auto* records : {&vlrs_, &evlrs_})
            for (const auto& record : *records)
                if (record.userId == "LASF_Projection" && record.recordId == recordId && record.payloadLength > 0)
                    return readPayload(file_, record, PayloadLimit);
        return {};
    }

private:
    const InputFile& file_;
    const std::vector<LasRecord>& vlrs_;
    const std::vector<LasRecord>& evlrs_;
};

/// Up to the first null, without the white space at the end.
std::string textOf(std::span<const std::byte> bytes) {
    auto text = loadText(bytes, 0, bytes.size());
    text.erase(text.find_last_not_of(" \t\r\n") + 1);
    return text;
}

/// The GeoTIFF directory: a header of four numbers, the fourth of which counts the keys, then four numbers per key: the
/// key, the record that holds its value (0: the value itself), how many values, and the value or its place there.
class GeoKeys {
public:
    explicit GeoKeys(GeoTiffRecords records)
        : keys_(std::move(records.keys)), doubles_(std::move(records.doubles)), texts_(std::move(records.texts)) {}

    std::string describe(std::vector<std::string>& warnings) const {
        if (keys_.empty()) return {};
        const std::size_t held = keys_.size() / EntrySize;
        const std::size_t counted = held == 0 ? 0 : number(0, 3);
        if (held == 0 || counted > held - 1)
            warnings.push_back(fmt::format("The GeoTIFF key record counts {} keys but its {} bytes hold {}.", counted,
                                           keys_.size(), held == 0 ? 0 : held - 1));
        std::string description;
        std::size_t unresolved = 0;
        for (std::size_t entry = 1; entry < held && entry <= counted; ++entry) {
            if (description.size() > DescriptionLimit) {
                warnings.push_back(fmt::format("The GeoTIFF keys from number {} of {} on are left out, since those "
                                               "before them take {} characters.",
                                               entry, counted, description.size()));
                break;
            }
            const auto value = valueOf(entry);
            if (value) description += fmt::format(" {}={}", number(entry, 0), *value);
            unresolved += !value;
        }
        if (unresolved > 0)
            warnings.push_back(
                fmt::format("{} GeoTIFF keys of {} refer to values that are not in the file; they are left out.",
                            unresolved, counted));
        return description.empty() ? "" : "GeoTIFF" + description;
    }

private:
    static constexpr std::size_t EntrySize = 8; ///< bytes

    std::uint16_t number(std::size_t entry, std::size_t field) const {
        return load<std::uint16_t>(keys_, entry * EntrySize + field * 2);
    }

    /// Nothing when the key refers to what is not there.
    std::optional<std::string> valueOf(std::size_t entry) const {
        const auto place = number(entry, 1);
        const std::size_t count = number(entry, 2);
        const std::size_t value = number(entry, 3);
        if (place == 0) return std::to_string(value);
        const std::size_t size = place == DoubleRecord ? sizeof(double) : 1;
        const auto& source = place == DoubleRecord ? doubles_ : texts_;
        const bool known = place == DoubleRecord || place == TextRecord;
        if (!known || count == 0 || (value + count) * size > source.size()) return {};
        const auto bytes = std::span(source).subspan(value * size, count * size);
        return place == DoubleRecord ? numbers(bytes) : quoted(bytes);
    }

    static std::string numbers(std::span<const std::byte> bytes) {
        std::string text;
        for (std::size_t at = 0; at < bytes.size(); at += sizeof(double))
            text += fmt::format("{}{}", at == 0 ? "" : ",", load<double>(bytes, at));
        return text;
    }

    /// GeoTIFF ends each text with a bar where C has a null.
    static std::string quoted(std::span<const std::byte> bytes) {
        auto text = textOf(bytes);
        text.erase(text.find_last_not_of('|') + 1);
        return '"' + text + '"';
    }

    std::vector<std::byte> keys_, doubles_, texts_;
};

GeoTiffRecords geoTiffRecords(const ProjectionRecords& records) {
    return {records.payload(KeyRecord), records.payload(DoubleRecord), records.payload(TextRecord)};
}

} // namespace

GeoTiffRecords readGeoTiffRecords(const InputFile& file, const std::vector<LasRecord>& vlrs,
                                  const std::vector<LasRecord>& evlrs) {
    return geoTiffRecords(ProjectionRecords(file, vlrs, evlrs));
}

std::string readCoordinateSystem(const InputFile& file, const std::vector<LasRecord>& vlrs,
                                 const std::vector<LasRecord>& evlrs, std::vector<std::string>& warnings) {
    const ProjectionRecords records(file, vlrs, evlrs);
    auto wkt = textOf(records.payload(WktRecord));
    return wkt.empty() ? GeoKeys(geoTiffRecords(records)).describe(warnings) : wkt;
}

} // namespace corvane
