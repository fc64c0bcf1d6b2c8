// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/InputFile.hpp"
#include "las/CompatibilityForm.hpp"
#include "las/Copc.hpp"
#include "las/LasDimensions.hpp"
#include "las/LasHeader.hpp"
#include "las/LasRecords.hpp"
#include "las/LazBlock.hpp"
#include "las/PointReader.hpp"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

/// What is asked of a damaged file: all of it or nothing, or what is sound in it.
enum class Reading { Whole, Sound };

/// A LAS file that has been opened and checked: everything but the points, and the way to those.
struct LasFile {
    std::shared_ptr<const InputFile> file;
    LasHeader header; ///< of the points as they are shown
    std::vector<LasRecord> vlrs;
    std::vector<LasRecord> evlrs;
    std::vector<Dimension> dimensions; ///< the format's, then the described extra bytes
    std::optional<Copc> copc;          ///< of a file that is one
    std::string crs;                   ///< WKT or GeoTIFF keys as found; empty when there are none
    std::vector<std::string> warnings; ///< what is wrong and could be read all the same; sentences without the path

    std::shared_ptr<const PointReader> points; ///< as records of the header's point format
    std::shared_ptr<const PointReader> stored; ///< as records that lie in the file: the same, without `compatibility`
    std::shared_ptr<const CompatibilityForm> compatibility; ///< of points that are stored in it; null for others
    std::uint64_t pointsEnd = 0; ///< in the file: behind the last point, or the table of the chunks

    /// A dimension as it reads: coordinates with the header's scale and offset.
    Dimension asRead(std::size_t index) const;

    /// The dimension of this exact name; null when there is none.
    const Dimension* find(std::string_view name) const;

    /// Whether a record gives the coordinate system as WKT.
    bool holdsWkt() const;

    /// Behind the last VLR, in the file.
    std::uint64_t vlrsEnd() const;

    /// The point format of the stored records.
    std::uint8_t storedFormat() const;

    /// The header of the stored records.
    LasHeader storedHeader() const;

    /// How the points are compressed; null when they are not.
    const LazBlock* compression() const;

    /// What is missing or cannot be trusted, of a file of which only the sound parts are read: sentences without the
    /// path, which are among the warnings, too. The points and their count are those that are sound.
    std::vector<std::string> losses;

    /// Opens and checks `path`, compressed (LAZ) or not, without reading any point. Throws Failure for anything that
    /// makes the points unreadable. For the sound parts of a compressed file all points are decoded once.
    static LasFile open(const std::string& path, Reading reading = Reading::Whole) {
        return open(std::make_shared<const InputFile>(path), reading);
    }
    static LasFile open(std::shared_ptr<const InputFile> file, Reading reading = Reading::Whole);
};

} // namespace corvane
