// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <gdal.h>
#include <memory>
#include <ogr_srs_api.h>
#include <string>
#include <vector>

namespace corvane {

struct DatasetCloser {
    void operator()(void* dataset) const { GDALClose(dataset); }
};
using GdalDataset = std::unique_ptr<void, DatasetCloser>;

/// Keeps what GDAL says while it lives, so that nothing is printed.
class GdalMessages {
public:
    GdalMessages();
    ~GdalMessages();
    GdalMessages(const GdalMessages&) = delete;
    GdalMessages& operator=(const GdalMessages&) = delete;

    bool failed() const { return !failure_.empty(); }

    /// The first complaint on one line, without a full stop at its end; "GDAL gives no reason" without one.
    std::string reason() const;

private:
    static void keep(CPLErr kind, CPLErrorNum number, const char* text);

    std::string failure_, warning_;
};

/// Bytes as a file of GDAL's own that is in memory only. They must outlive it.
class MemoryFile {
public:
    MemoryFile(const std::string& name, std::vector<std::byte> content);
    ~MemoryFile();
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
    std::vector<std::byte> content_;
};

/// Opens a file for reading with one of these drivers, which are registered at the first call, and no others. Null when
/// none can.
GdalDataset openDataset(const std::string& path, unsigned kind, const std::vector<const char*>& drivers,
                        const std::vector<const char*>& options = {});

/// Empty for null, and for systems that have no place on the earth.
std::string wktOf(OGRSpatialReferenceH system);

} // namespace corvane
