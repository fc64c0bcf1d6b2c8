// SPDX-License-Identifier: Apache-2.0
// GeoTIFF keys are understood by whom they were made for: GDAL is shown a picture of one pixel that has them.
#include "geo/GeoKeysCrs.hpp"

#include "geo/Gdal.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>

namespace corvane {
namespace {

using Entry = std::array<std::uint16_t, 4>; // key, place, count, value
constexpr std::uint16_t ModelType = 1024, Projected = 1, Geographic = 2;
constexpr std::uint16_t GeographicSystem = 2048, ProjectedSystem = 3072;

void append(std::vector<std::byte>& bytes, const void* data, std::size_t size) {
    const std::size_t end = bytes.size();
    bytes.resize(end + size);
    std::copy_n(static_cast<const std::byte*>(data), size, bytes.begin() + static_cast<std::ptrdiff_t>(end));
}

/// In the order of the keys, as the format wants it, each key once, and with the kind of model, which programs leave
/// out.
std::vector<std::byte> directoryOf(const std::vector<std::byte>& keys) {
    constexpr std::size_t Size = sizeof(Entry);
    std::map<std::uint16_t, Entry> entries;
    for (std::size_t at = Size; at + Size <= keys.size(); at += Size) {
        Entry entry;
        std::memcpy(entry.data(), keys.data() + at, Size);
        entries.emplace(entry[0], entry);
    }
    entries.erase(0);
    if (entries.contains(ProjectedSystem)) entries.try_emplace(ModelType, Entry{ModelType, 0, 1, Projected});
    if (entries.contains(GeographicSystem)) entries.try_emplace(ModelType, Entry{ModelType, 0, 1, Geographic});
    const Entry header{1, 1, 0, static_cast<std::uint16_t>(entries.size())};
    std::vector<std::byte> directory;
    append(directory, header.data(), Size);
    for (const auto& [key, entry] : entries) append(directory, entry.data(), Size);
    return directory;
}

/// A TIFF of one grey pixel, little-endian as the records are.
class Picture {
public:
    explicit Picture(const StatedCrs& records) {
        const std::vector<std::byte> directory = directoryOf(records.keys);
        add(256, Short, 1, 1); // width
        add(257, Short, 1, 1); // height
        add(258, Short, 1, 8); // bits
        add(259, Short, 1, 1); // not compressed
        add(262, Short, 1, 1); // black is zero
        add(273, Long, 1, 0);  // the pixel: any byte
        add(277, Short, 1, 1); // samples
        add(278, Short, 1, 1); // rows
        add(279, Long, 1, 1);  // bytes
        add(34735, Short, directory, sizeof(std::uint16_t));
        if (records.doubles.size() >= sizeof(double)) add(34736, Double, records.doubles, sizeof(double));
        if (!records.texts.empty()) add(34737, Ascii, records.texts, 1);
    }

    std::vector<std::byte> bytes() const {
        const std::uint16_t count = static_cast<std::uint16_t>(tags_.size());
        const std::uint32_t beginning = 8, last = 0;
        const auto payloadStart = static_cast<std::uint32_t>(beginning + 2 + tags_.size() * 12 + 4);
        std::vector<std::byte> file;
        append(file, "II*\0", 4);
        append(file, &beginning, 4);
        append(file, &count, 2);
        for (const Tag& tag : tags_) {
            const std::uint32_t value = tag.isPlace ? tag.value + payloadStart : tag.value;
            append(file, &tag.number, 2);
            append(file, &tag.type, 2);
            append(file, &tag.count, 4);
            append(file, &value, 4);
        }
        append(file, &last, 4);
        append(file, payload_.data(), payload_.size());
        return file;
    }

private:
    static constexpr std::uint16_t Ascii = 2, Short = 3, Long = 4, Double = 12;

    struct Tag {
        std::uint16_t number, type;
        std::uint32_t count, value;
        bool isPlace; ///< the value is a place in the payload
    };

    void add(std::uint16_t number, std::uint16_t type, std::uint32_t count, std::uint32_t value) {
        tags_.push_back({number, type, count, value, false});
    }

    void add(std::uint16_t number, std::uint16_t type, const std::vector<std::byte>& values, std::size_t size) {
        const auto count = static_cast<std::uint32_t>(values.size() / size);
        tags_.push_back({number, type, count, static_cast<std::uint32_t>(payload_.size()), true});
        append(payload_, values.data(), values.size());
        if (payload_.size() % 2 != 0) payload_.push_back({});
        payload_.resize(std::max<std::size_t>(payload_.size(), 4)); // shorter values would stand in the tag itself
    }

    std::vector<Tag> tags_;
    std::vector<std::byte> payload_;
};

} // namespace

std::string wktOfGeoKeys(const StatedCrs& records) {
    const MemoryFile file("crs.tif", Picture(records).bytes());
    const GdalMessages messages;
    const GdalDataset picture = openDataset(file.path(), GDAL_OF_RASTER, {"GTiff"});
    return picture ? wktOf(GDALGetSpatialRef(picture.get())) : "";
}

} // namespace corvane
