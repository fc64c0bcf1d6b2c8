// SPDX-License-Identifier: Apache-2.0
#include "polygon/PolygonReader.hpp"

#include "base/Failure.hpp"
#include "base/InputFile.hpp"
#include "polygon/GeoJson.hpp"
#include "polygon/WktText.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <fmt/format.h>

namespace corvane {
namespace {

constexpr std::uint64_t BeginningSize = 4096; // bytes
constexpr char RecordSeparator = '\x1E';      // may stand before each of several documents

std::string_view withoutByteOrderMark(std::string_view text) {
    return text.starts_with("\xEF\xBB\xBF") ? text.substr(3) : text;
}

/// What a text of polygons begins with.
std::string_view firstOf(std::string_view content) {
    auto text = withoutLeadingBlanks(withoutByteOrderMark(content));
    if (text.starts_with(RecordSeparator)) text = withoutLeadingBlanks(text.substr(1));
    return text;
}

bool isText(std::string_view content) { return firstOf(content).starts_with('{') || beginsLikeWkt(firstOf(content)); }

bool exists(const std::string& path) {
    std::error_code error;
    const auto type = std::filesystem::status(path, error).type();
    return type != std::filesystem::file_type::not_found && error != std::errc::filename_too_long;
}

bool isRegular(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_regular_file(path, error);
}

/// The path, after the layer that stands behind its bar was put into `argument`.
std::string withoutLayer(const std::string& path, PolygonArgument& argument) {
    const auto bar = path.find('|');
    if (bar == path.npos || exists(path) || !exists(path.substr(0, bar))) return path;
    constexpr std::string_view Key = "layername=";
    argument.layer = path.substr(bar + 1);
    if (argument.layer.starts_with(Key)) argument.layer.erase(0, Key.size());
    if (argument.layer.empty() || argument.layer.find('|') != argument.layer.npos)
        throw UsageError(fmt::format("{}: after the first bar nothing but the name of a layer is expected, such as "
                                     "areas.gpkg|buildings.",
                                     path));
    return path.substr(0, bar);
}

std::string beginningOf(const std::string& path) {
    const InputFile file(path);
    std::string beginning(std::min(file.size(), BeginningSize), '\0');
    file.read(0, std::as_writable_bytes(std::span(beginning)));
    return beginning;
}

/// What the function fails with gets the source in front.
template <class Function>
auto placed(const std::string& source, Function function) {
    try {
        return function();
    } catch (const UsageError& error) {
        throw UsageError(fmt::format("{}: {}", source, error.what()));
    } catch (const Failure& failure) {
        throw Failure(fmt::format("{}: {}.", source, failure.what()));
    }
}

/// The first line of a text that has more of them.
std::string_view firstLine(std::string_view text) {
    const auto end = text.find('\n');
    return end == text.npos || withoutLeadingBlanks(text.substr(end)).empty() ? std::string_view()
                                                                              : text.substr(0, end);
}

/// A number that is whole without its decimals, "6" for "6.0"; everything else as it is.
std::string plainNumber(const std::string& text) {
    double number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    const bool whole = error == std::errc() && stop == end && std::abs(number) < 1e9 && number == std::floor(number);
    return whole ? fmt::format("{:.0f}", number) : text;
}

} // namespace

PolygonArgument openPolygons(const std::string& argument) {
    PolygonArgument opened{.source = argument, .text = {}, .file = {}, .beginning = {}, .layer = {}};
    if (beginsLikeWkt(argument)) {
        opened.source = excerpt(argument);
        opened.text = argument;
        return opened;
    }
    if (argument == "-") {
        opened.source = "standard input";
        opened.text = readTextFile(argument);
        return opened;
    }
    opened.source = withoutLayer(argument, opened);
    if (!exists(opened.source))
        throw UsageError(
            fmt::format("\"{}\" is neither WKT nor the name of a file that exists; expected a text such as "
                        "\"POLYGON((0 0, 9 0, 9 9))\" or a file of polygons, such as WKT, GeoJSON or a GeoPackage.",
                        excerpt(argument)));
    if (isRegular(opened.source)) {
        opened.beginning = beginningOf(opened.source);
        if (!isText(opened.beginning)) opened.file = opened.source;
    }
    if (opened.file.empty()) opened.text = readTextFile(opened.source);
    if (opened.file.empty() && !opened.layer.empty())
        throw UsageError(fmt::format("{}: has no layers; leave out \"|{}\".", opened.source, opened.layer));
    return opened;
}

bool isGeoJsonLines(std::string_view content) {
    if (withoutLeadingBlanks(withoutByteOrderMark(content)).starts_with(RecordSeparator)) return true;
    const auto line = firstLine(firstOf(content));
    if (!line.starts_with('{')) return false;
    try {
        return json::Document(line).root.is_object(); // else the document begins with this line
    } catch (const json::Error&) {
        return false;
    }
}

void refuseContent(const PolygonArgument& argument, const std::string& expected) {
    throw Failure(
        fmt::format("{}: begins with \"{}\", expected {}.", argument.source, excerpt(argument.beginning), expected));
}

PolygonReader::PolygonReader(bool repair, std::string attribute) : attribute_(std::move(attribute)) {
    repairs_.wanted = given_.repair = repair;
}

void PolygonReader::addText(std::string_view content, const std::string& source) {
    placed(source, [&] {
        const std::size_t before = given_.features.size();
        const auto text = firstOf(content);
        if (isGeoJsonLines(content))
            addLines(text, source);
        else if (text.starts_with('{'))
            addDocument(text, source, "");
        else if (beginsLikeWkt(text))
            addWkt(text, source);
        else
            throw Failure(
                fmt::format("begins with \"{}\", expected WKT (POLYGON or MULTIPOLYGON) or GeoJSON", excerpt(text)));
        requireMoreThan(before);
    });
}

void PolygonReader::requireMoreThan(std::size_t features) const {
    if (given_.features.size() == features) throw Failure("holds no polygon with an area, expected at least one");
}

void PolygonReader::addWkt(std::string_view text, const std::string& source) {
    if (!attribute_.empty())
        throw UsageError(fmt::format("is WKT, which has no attributes such as \"{}\"; give a file of features, such "
                                     "as GeoJSON.",
                                     attribute_));
    for (auto& [wkt, srid] : splitWkt(text))
        add({.source = source, .name = {}, .crs = srid.empty() ? "" : "EPSG:" + srid, .value = {}, .polygons = {}},
            geos_.readWkt(wkt, repairs_));
}

void PolygonReader::addLines(std::string_view text, const std::string& source) {
    for (std::size_t number = 1; !text.empty(); ++number) {
        const auto end = std::min(text.find('\n'), text.size());
        const auto line = firstOf(text.substr(0, end));
        if (!line.empty()) addDocument(line, source, fmt::format("line {}", number));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

void PolygonReader::addDocument(std::string_view text, const std::string& source, const std::string& name) {
    try {
        const json::Document document(text, name);
        const std::size_t before = given_.features.size();
        collect(json::Reader(document), source);
        for (std::size_t i = before; i < given_.features.size() && !name.empty(); ++i) given_.features[i].name = name;
    } catch (const json::Error& error) {
        throw Failure(
            fmt::format("is not GeoJSON as it should be: {}; expected a geometry, Feature or FeatureCollection "
                        "with positions of at least two numbers",
                        error.what()));
    }
}

void PolygonReader::addGeoJson(const json::Reader& object, const std::string& source) {
    placed(source, [&] {
        const std::size_t before = given_.features.size();
        collect(object, source);
        requireMoreThan(before);
    });
}

void PolygonReader::collect(const json::Reader& object, const std::string& source) {
    for (const GeoJsonArea& area : areasOfGeoJson(object, attribute_))
        add({.source = source,
             .name = area.feature == 0 ? "" : fmt::format("feature {}", area.feature),
             .crs = area.crs,
             .isGeoJson = true,
             .value = area.value,
             .polygons = {}},
            geos_.readWkt(area.wkt, repairs_));
}

void PolygonReader::addFeature(GivenFeature facts, const std::string& wkb) {
    placed(facts.source, [&] { add(facts, geos_.readWkb(wkb, repairs_)); });
}

void PolygonReader::add(GivenFeature feature, std::vector<Rings> polygons) {
    const std::string place = feature.name.empty() ? feature.source : feature.source + ", " + feature.name;
    for (const std::string& report : repairs_.reports)
        given_.notices.push_back(fmt::format("{}: repaired {}.", place, report));
    repairs_.reports.clear();
    if (polygons.empty()) return;
    if (feature.value) feature.value = plainNumber(*feature.value);
    auto& features = given_.features; // a feature may hold a collection
    if (!features.empty() && !feature.name.empty() && features.back().name == feature.name &&
        features.back().source == feature.source && features.back().crs == feature.crs) {
        std::ranges::move(polygons, std::back_inserter(features.back().polygons));
        return;
    }
    feature.polygons = std::move(polygons);
    features.push_back(std::move(feature));
}

GivenPolygons PolygonReader::take() { return std::exchange(given_, {}); }

} // namespace corvane
