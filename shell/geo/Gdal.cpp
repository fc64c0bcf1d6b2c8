// SPDX-License-Identifier: Apache-2.0
#include "geo/Gdal.hpp"

#include <algorithm>
#include <cpl_conv.h>
#include <cpl_error.h>
#include <cpl_vsi.h>
#include <gdal_frmts.h>
#include <ogrsf_frmts.h>

namespace corvane {
namespace {

/// Only these can be reached, and no plug-ins of GDAL.
void registerDrivers() {
    GDALRegister_GTiff();
    RegisterOGRGeoPackage();
    RegisterOGRShape();
    RegisterOGRLIBKML();
    RegisterOGRKML();
    RegisterOGRFlatGeobuf();
    RegisterOGRCSV();
    RegisterOGRGeoJSON();
    RegisterOGRGeoJSONSeq();
    OSRSetPROJEnableNetwork(0);
}

std::string onOneLine(const std::string& text) {
    std::string line;
    for (const char c : text) {
        const bool blank = c == ' ' || c == '\n' || c == '\r' || c == '\t';
        if (!blank || (!line.empty() && line.back() != ' ')) line += blank ? ' ' : c;
    }
    line.erase(line.find_last_not_of(" .") + 1);
    return line;
}

std::vector<const char*> ended(std::vector<const char*> list) {
    list.push_back(nullptr);
    return list;
}

} // namespace

GdalMessages::GdalMessages() { CPLPushErrorHandlerEx(keep, this); }

GdalMessages::~GdalMessages() { CPLPopErrorHandler(); }

void GdalMessages::keep(CPLErr kind, CPLErrorNum, const char* text) {
    auto* messages = static_cast<GdalMessages*>(CPLGetErrorHandlerUserData());
    if (kind == CE_Warning && messages->warning_.empty()) messages->warning_ = text;
    if (kind >= CE_Failure && messages->failure_.empty()) messages->failure_ = *text ? text : "GDAL failed";
}

std::string GdalMessages::reason() const {
    const std::string& first = failure_.empty() ? warning_ : failure_;
    return first.empty() ? "GDAL gives no reason" : onOneLine(first);
}

MemoryFile::MemoryFile(const std::string& name, std::vector<std::byte> content)
    : path_("/vsimem/corvane-" + name), content_(std::move(content)) {
    auto* bytes = reinterpret_cast<GByte*>(content_.data());
    VSIFCloseL(VSIFileFromMemBuffer(path_.c_str(), bytes, content_.size(), FALSE));
}

MemoryFile::~MemoryFile() { VSIUnlink(path_.c_str()); }

GdalDataset openDataset(const std::string& path, unsigned kind, const std::vector<const char*>& drivers,
                        const std::vector<const char*>& options) {
    static const bool registered = (registerDrivers(), true);
    (void)registered;
    const unsigned flags = kind | GDAL_OF_READONLY | GDAL_OF_VERBOSE_ERROR;
    return GdalDataset(GDALOpenEx(path.c_str(), flags, ended(drivers).data(), ended(options).data(), nullptr));
}

std::string wktOf(OGRSpatialReferenceH system) {
    if (!system || !(OSRIsGeographic(system) || OSRIsProjected(system) || OSRIsCompound(system))) return {};
    const char* const format[] = {"FORMAT=WKT2_2019", nullptr};
    char* text = nullptr;
    std::string wkt;
    if (OSRExportToWktEx(system, &text, format) == OGRERR_NONE && text) wkt = text;
    CPLFree(text);
    return wkt;
}

} // namespace corvane
