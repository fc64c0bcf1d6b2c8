// SPDX-License-Identifier: Apache-2.0
#include "geo/Vectors.hpp"

#include "base/Failure.hpp"
#include "base/NearestName.hpp"
#include "geo/Gdal.hpp"

#include <cmath>
#include <filesystem>
#include <fmt/format.h>
#include <ogr_api.h>

namespace corvane {
namespace {

constexpr std::size_t MostBytes = std::size_t{512} << 20; // of geometry
constexpr double ChordAngle = 0.5;                        // degrees

struct FeatureDeleter {
    void operator()(OGRFeatureH feature) const { OGR_F_Destroy(feature); }
};
using Feature = std::unique_ptr<std::remove_pointer_t<OGRFeatureH>, FeatureDeleter>;

struct GeometryDeleter {
    void operator()(OGRGeometryH geometry) const { OGR_G_DestroyGeometry(geometry); }
};
using OgrGeometry = std::unique_ptr<std::remove_pointer_t<OGRGeometryH>, GeometryDeleter>;

std::string nameOf(const std::string& driver) {
    if (driver == "GPKG") return "a GeoPackage";
    if (driver == "ESRI Shapefile") return "a shapefile";
    if (driver == "GeoJSONSeq") return "GeoJSON on lines";
    return driver;
}

/// A shapefile is several files.
void checkCompanions(const VectorQuery& query) {
    if (query.driver != "ESRI Shapefile") return;
    for (const char* ending : {".shx", ".SHX"})
        if (std::filesystem::exists(std::filesystem::path(query.path).replace_extension(ending))) return;
    throw Failure("its companion .shx is missing, without which nothing can be read; put all files of the shapefile "
                  "into one folder.");
}

GdalDataset open(const VectorQuery& query, const std::string& path, const GdalMessages& messages) {
    checkCompanions(query);
    std::vector<const char*> drivers{query.driver.c_str()}, options;
    if (query.driver == "KML") drivers.insert(drivers.begin(), "LIBKML");
    if (query.driver == "CSV") options = {"GEOM_POSSIBLE_NAMES=WKT,wkt_geom,geometry,geom,the_geom,polygon,shape"};
    GdalDataset dataset = openDataset(path, GDAL_OF_VECTOR, drivers, options);
    if (dataset) return dataset;
    throw Failure(fmt::format("looks like {}, but cannot be read as one: {}; it is damaged, not whole or has a wrong "
                              "name.",
                              nameOf(query.driver), messages.reason()));
}

std::string nameOf(OGRLayerH layer) { return OGR_L_GetName(layer); }

std::string namesOf(const std::vector<OGRLayerH>& layers) {
    std::vector<std::string> names;
    for (OGRLayerH layer : layers) names.push_back(nameOf(layer));
    return fmt::format("\"{}\"", fmt::join(names, "\", \""));
}

/// Those that have geometry.
std::vector<OGRLayerH> layersOf(const GdalDataset& dataset) {
    std::vector<OGRLayerH> layers;
    for (int i = 0; i < GDALDatasetGetLayerCount(dataset.get()); ++i) {
        OGRLayerH layer = GDALDatasetGetLayer(dataset.get(), i);
        if (layer && OGR_L_GetGeomType(layer) != wkbNone) layers.push_back(layer);
    }
    return layers;
}

/// The one that is named, or the only one; empty ones count only where there are no others.
OGRLayerH chosen(const GdalDataset& dataset, const VectorQuery& query) {
    std::vector<OGRLayerH> layers = layersOf(dataset);
    if (layers.empty())
        throw Failure(query.driver == "CSV" ? "has no column of geometry; name the one with WKT \"WKT\" in the first "
                                              "line."
                                            : "has no layer with geometry, expected one with polygons.");
    if (!query.layer.empty()) {
        std::vector<std::string> names;
        for (OGRLayerH layer : layers) {
            if (sameName(nameOf(layer), query.layer)) return layer;
            names.push_back(nameOf(layer));
        }
        throw UsageError(fmt::format("has no layer \"{}\". {}", query.layer, suggestNames(query.layer, names)));
    }
    if (layers.size() > 1)
        std::erase_if(layers, [&](OGRLayerH layer) { return OGR_L_GetFeatureCount(layer, TRUE) == 0; });
    if (layers.size() == 1) return layers.front();
    if (layers.empty()) throw Failure("has no feature in any of its layers, expected polygons.");
    throw UsageError(fmt::format("has the layers {}; name one behind a bar, such as \"FILE|{}\".", namesOf(layers),
                                 nameOf(layers.front())));
}

int fieldFor(OGRLayerH layer, const std::string& attribute) {
    if (attribute.empty()) return -1;
    OGRFeatureDefnH definition = OGR_L_GetLayerDefn(layer);
    const int index = OGR_FD_GetFieldIndex(definition, attribute.c_str());
    if (index >= 0) return index;
    std::vector<std::string> names;
    for (int i = 0; i < OGR_FD_GetFieldCount(definition); ++i)
        names.emplace_back(OGR_Fld_GetNameRef(OGR_FD_GetFieldDefn(definition, i)));
    throw UsageError(fmt::format("has no attribute \"{}\". {}", attribute, suggestNames(attribute, names)));
}

std::string valueOf(OGRFeatureH feature, int field, const std::string& attribute) {
    const auto refuse = [&](const std::string& found) {
        throw Failure(fmt::format("feature {} has {} for its attribute \"{}\", expected a number or a text; give it "
                                  "one, or leave the feature out with --where-feature.",
                                  OGR_F_GetFID(feature), found, attribute));
    };
    if (!OGR_F_IsFieldSetAndNotNull(feature, field)) refuse("no value");
    const OGRFieldType type = OGR_Fld_GetType(OGR_F_GetFieldDefnRef(feature, field));
    if (type == OFTReal) return fmt::format("{}", OGR_F_GetFieldAsDouble(feature, field));
    if (type != OFTInteger && type != OFTInteger64 && type != OFTString) refuse("a value of another kind");
    return OGR_F_GetFieldAsString(feature, field);
}

/// Adds the areas of a geometry, arcs as chords. False when it has others.
bool addAreas(OGRGeometryH geometry, OGRGeometryH areas) {
    switch (wkbFlatten(OGR_G_GetGeometryType(geometry))) {
    case wkbPolygon:
        return OGR_G_AddGeometry(areas, geometry) == OGRERR_NONE;
    case wkbCurvePolygon:
    case wkbMultiSurface: {
        const OgrGeometry linear(OGR_G_GetLinearGeometry(geometry, ChordAngle, nullptr));
        return linear && addAreas(linear.get(), areas);
    }
    case wkbMultiPolygon:
    case wkbGeometryCollection:
        for (int i = 0; i < OGR_G_GetGeometryCount(geometry); ++i)
            if (!addAreas(OGR_G_GetGeometryRef(geometry, i), areas)) return false;
        return true;
    default:
        return OGR_G_IsEmpty(geometry);
    }
}

std::string wkbOf(OGRFeatureH feature, OGRGeometryH geometry) {
    const OgrGeometry areas(OGR_G_CreateGeometry(wkbMultiPolygon));
    const OgrGeometry flat(OGR_G_Clone(geometry));
    OGR_G_FlattenTo2D(flat.get());
    if (!addAreas(flat.get(), areas.get()))
        throw Failure(fmt::format("feature {} is a {}, expected a polygon; leave out what is not an area.",
                                  OGR_F_GetFID(feature), OGRGeometryTypeToName(OGR_G_GetGeometryType(geometry))));
    std::string wkb(static_cast<std::size_t>(OGR_G_WkbSize(areas.get())), '\0');
    OGR_G_ExportToIsoWkb(areas.get(), wkbNDR, reinterpret_cast<unsigned char*>(wkb.data()));
    return wkb;
}

/// In CSV, which shows the column of the geometry as an attribute, too, WKT that is not understood is no geometry.
void refuseBroken(OGRFeatureH feature) {
    std::string column = OGR_GFld_GetNameRef(OGR_F_GetGeomFieldDefnRef(feature, 0));
    if (column.empty()) column = "WKT"; // which has no name then
    const int field = OGR_F_GetFieldIndex(feature, column.c_str());
    const std::string text = field < 0 ? "" : OGR_F_GetFieldAsString(feature, field);
    if (!text.empty())
        throw Failure(fmt::format("feature {} has the geometry \"{}\", expected WKT such as \"POLYGON((0 0, 9 0, 9 "
                                  "9))\".",
                                  OGR_F_GetFID(feature), text.substr(0, 40)));
}

void readFeatures(OGRLayerH layer, const VectorQuery& query, VectorLayer& read) {
    const int field = fieldFor(layer, query.attribute);
    std::size_t bytes = 0;
    OGR_L_ResetReading(layer);
    while (const Feature feature{OGR_L_GetNextFeature(layer)}) {
        OGRGeometryH geometry = OGR_F_GetGeometryRef(feature.get());
        if (!geometry && query.driver == "CSV") refuseBroken(feature.get());
        if (!geometry || OGR_G_IsEmpty(geometry)) {
            ++read.without;
            continue;
        }
        VectorFeature& added = read.features.emplace_back();
        added.number = OGR_F_GetFID(feature.get());
        added.curved = OGR_G_HasCurveGeometry(geometry, TRUE);
        added.wkb = wkbOf(feature.get(), geometry);
        if (field >= 0) added.value = valueOf(feature.get(), field, query.attribute);
        bytes += added.wkb.size();
        if (bytes > MostBytes)
            throw Failure(fmt::format("its polygons take more than {} bytes; choose fewer with --where-feature, or "
                                      "simplify their outlines.",
                                      MostBytes));
    }
}

std::vector<std::byte> bytesOf(const std::string& text) {
    const auto* begin = reinterpret_cast<const std::byte*>(text.data());
    return {begin, begin + text.size()};
}

VectorLayer readFrom(const VectorQuery& query, const std::string& path) {
    const GdalMessages messages;
    const GdalDataset dataset = open(query, path, messages);
    OGRLayerH layer = chosen(dataset, query);
    VectorLayer read{.name = nameOf(layer), .crs = wktOf(OGR_L_GetSpatialRef(layer)), .features = {}};
    if (!query.where.empty()) {
        const GdalMessages about;
        if (OGR_L_SetAttributeFilter(layer, query.where.c_str()) != OGRERR_NONE)
            throw UsageError(fmt::format("the condition \"{}\" is not understood: {}.", query.where, about.reason()));
    }
    const GdalMessages complaints; // of opening there may be some that do no harm
    readFeatures(layer, query, read);
    if (complaints.failed())
        throw Failure(fmt::format("cannot be read to its end: {}; {}.", complaints.reason(),
                                  query.where.empty() ? "it is damaged or not whole"
                                                      : "check the condition, and whether the file is whole"));
    return read;
}

} // namespace

VectorLayer readVectors(const VectorQuery& query) {
    if (query.content.empty()) return readFrom(query, query.path);
    const MemoryFile file("features.json", bytesOf(query.content));
    return readFrom(query, file.path());
}

} // namespace corvane
