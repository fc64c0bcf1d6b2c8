// SPDX-License-Identifier: Apache-2.0
#include "check/PointListing.hpp"

#include "base/Text.hpp"
#include "check/ClassNames.hpp"
#include "las/CoordinateText.hpp"
#include "las/CrsText.hpp"
#include "las/PointCodec.hpp"
#include "json/Document.hpp"

#include <array>
#include <cmath>
#include <filesystem>
#include <fmt/format.h>

namespace corvane {
namespace {

constexpr std::size_t Axes = 3; // X, Y and Z are the first dimensions

/// Dimensions of a table, as far as the survey has them.
constexpr std::array TableColumns{"ReturnNumber", "NumberOfReturns", "Intensity", "PointSourceId", "GpsTime"};
constexpr std::array Flags{"Synthetic", "KeyPoint", "Withheld", "Overlap"};

/// A number that is not finite has no text in JSON.
template <class T>
std::string textOf(T value) {
    if constexpr (std::is_floating_point_v<T>) return std::isfinite(value) ? fmt::format("{}", value) : "";
    if constexpr (sizeof(T) == 1) return std::to_string(int(value));
    return fmt::format("{}", value);
}

/// The value of a dimension, exactly; a coordinate with its decimals.
std::string valueText(std::span<const std::byte> record, const Dimension& dimension) {
    if (dimension.packed()) {
        std::uint32_t bits = 0;
        decodeBits(record, record.size(), dimension, std::span(&bits, 1));
        return std::to_string(bits);
    }
    if (dimension.scaled()) {
        double number = 0;
        decodeNumbers(record, record.size(), dimension, std::span(&number, 1));
        return textOf(number);
    }
    return withStored(dimension.storage, [&](auto stored) {
        std::memcpy(&stored, record.data() + dimension.offset, sizeof stored);
        return textOf(stored);
    });
}

std::string coordinate(const LasFile& las, std::span<const std::byte> record, std::size_t axis) {
    double number = 0;
    decodeNumbers(record, record.size(), las.asRead(axis), std::span(&number, 1));
    return coordinateText(las.header, axis, number);
}

/// A text for CSV, in quotes where it needs them.
std::string cell(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char c : text) quoted += c == '"' ? "\"\"" : std::string(1, c);
    return quoted + "\"";
}

std::string jsonText(const std::string& text) { return json::Value(asUtf8(text)).dump(); }

int classOf(const LasFile& las, std::span<const std::byte> record) {
    std::uint32_t value = 0;
    decodeBits(record, record.size(), *las.find(ClassificationName), std::span(&value, 1));
    return static_cast<int>(value);
}

} // namespace

std::optional<ListingFormat> listingFormatOf(const std::string& path) {
    std::string ending = std::filesystem::path(path).extension();
    for (char& c : ending) c = 'A' <= c && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    if (ending == ".csv") return ListingFormat::Csv;
    if (ending == ".geojson" || ending == ".json") return ListingFormat::GeoJson;
    return std::nullopt;
}

std::string geoJsonCrs(const LasFile& las) {
    constexpr std::string_view authority = "EPSG:";
    const std::string code = crsLabel(las.crs).code;
    if (!code.starts_with(authority)) return "";
    return fmt::format(R"("crs": {{"type": "name", "properties": {{"name": "urn:ogc:def:crs:EPSG::{}"}}}}, )",
                       code.substr(authority.size()));
}

PointListing::PointListing(const LasFile& las, ListingFormat format, std::string heading,
                           std::optional<Kesh::LabelSet> names, Sink sink)
    : las_(las), format_(format), heading_(std::move(heading)), names_(std::move(names)), sink_(std::move(sink)) {
    for (std::size_t i = 0; i < las.dimensions.size(); ++i) dimensions_.push_back(las.asRead(i));
    begin();
}

void PointListing::begin() {
    if (format_ == ListingFormat::GeoJson)
        return sink_(fmt::format(R"({{"type": "FeatureCollection", {}"features": [)", geoJsonCrs(las_)));
    if (format_ == ListingFormat::Csv) {
        std::string line = heading_.empty() ? "Index" : cell(heading_) + ",Index";
        for (const Dimension& dimension : dimensions_) line += "," + cell(dimension.name);
        return sink_(line + "\n");
    }
    std::string line = fmt::format("{:>10} {:>12} {:>13} {:>10} ", "index", "x", "y", "z");
    for (const char* column : TableColumns)
        if (las_.find(column)) line += fmt::format(" {:>15}", column);
    sink_(line + "  class\n");
}

void PointListing::add(std::uint64_t index, std::span<const std::byte> record, const std::string& note) {
    if (format_ == ListingFormat::Table)
        addRow(index, record, note);
    else if (format_ == ListingFormat::Csv)
        addLine(index, record, note);
    else
        addFeature(index, record, note);
    ++count_;
}

void PointListing::addRow(std::uint64_t index, std::span<const std::byte> record, const std::string& note) {
    std::string line = fmt::format("{:>10} {:>12} {:>13} {:>10} ", index, coordinate(las_, record, 0),
                                   coordinate(las_, record, 1), coordinate(las_, record, 2));
    for (const char* column : TableColumns)
        if (const Dimension* dimension = las_.find(column))
            line += fmt::format(" {:>15}", valueText(record, *dimension));
    line += "  " + escaped(classText(classOf(las_, record), las_, names_));
    for (const char* flag : Flags)
        if (const Dimension* dimension = las_.find(flag); dimension && valueText(record, *dimension) == "1")
            line += fmt::format(", {}", flag);
    if (!note.empty()) line += fmt::format("  ({})", escaped(note));
    sink_(line + "\n");
}

void PointListing::addLine(std::uint64_t index, std::span<const std::byte> record, const std::string& note) {
    std::string line = heading_.empty() ? std::to_string(index) : fmt::format("{},{}", cell(note), index);
    for (std::size_t i = 0; i < dimensions_.size(); ++i)
        line += "," + (i < Axes ? coordinate(las_, record, i) : valueText(record, dimensions_[i]));
    sink_(line + "\n");
}

void PointListing::addFeature(std::uint64_t index, std::span<const std::byte> record, const std::string& note) {
    std::string properties = heading_.empty() ? "" : fmt::format("{}: {}, ", jsonText(heading_), jsonText(note));
    properties += fmt::format(R"("Index": {})", index);
    for (std::size_t i = Axes; i < dimensions_.size(); ++i) {
        const std::string value = valueText(record, dimensions_[i]);
        properties += fmt::format(", {}: {}", jsonText(dimensions_[i].name), value.empty() ? "null" : value);
    }
    sink_(fmt::format(R"({}
{{"type": "Feature", "geometry": {{"type": "Point", "coordinates": [{}, {}, {}]}}, "properties": {{{}}}}})",
                      count_ == 0 ? "" : ",", coordinate(las_, record, 0), coordinate(las_, record, 1),
                      coordinate(las_, record, 2), properties));
}

void PointListing::finish() {
    if (format_ == ListingFormat::GeoJson) sink_("\n]}\n");
}

} // namespace corvane
