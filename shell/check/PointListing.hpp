// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/LabelSet.hpp"
#include "las/LasFile.hpp"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

/// How points are written: a table for people, or what programs open.
enum class ListingFormat { Table, Csv, GeoJson };

/// What the ending of a file's name says, .csv, .geojson or .json; none for another.
std::optional<ListingFormat> listingFormatOf(const std::string& path);

/// Writes points one by one as text, with all their dimensions; a table has the usual ones. Coordinates have the
/// decimals of the header's scale. GeoJSON says which coordinate system it is in, as far as the survey names a code,
/// and is in that of the survey.
class PointListing {
public:
    using Sink = std::function<void(std::string_view)>;

    /// `heading` names a column before the others; empty: there is none. `names`: what the file calls its classes.
    PointListing(const LasFile& las, ListingFormat format, std::string heading, std::optional<Kesh::LabelSet> names,
                 Sink sink);

    /// `note` stands in the column of the heading.
    void add(std::uint64_t index, std::span<const std::byte> record, const std::string& note = "");

    /// Ends the text; the last call.
    void finish();

    std::uint64_t count() const { return count_; }

private:
    void begin();
    void addRow(std::uint64_t index, std::span<const std::byte> record, const std::string& note);
    void addLine(std::uint64_t index, std::span<const std::byte> record, const std::string& note);
    void addFeature(std::uint64_t index, std::span<const std::byte> record, const std::string& note);

    const LasFile& las_;
    ListingFormat format_;
    std::string heading_;
    std::optional<Kesh::LabelSet> names_;
    Sink sink_;
    std::vector<Dimension> dimensions_; // as they read
    std::uint64_t count_ = 0;
};

/// The member of a GeoJSON that names the survey's coordinate system, with a comma behind it; empty without a code.
std::string geoJsonCrs(const LasFile& las);

} // namespace corvane
