// SPDX-License-Identifier: Apache-2.0
#include "sample/PointEncoder.hpp"

#include <algorithm>
#include <cstring>

namespace corvane {

PointEncoder::Field PointEncoder::find(const std::vector<Dimension>& dimensions, std::string_view name) {
    const auto found = std::ranges::find(dimensions, name, &Dimension::name);
    if (found == dimensions.end()) return {};
    return {true, found->packed(), found->firstBit, found->offset};
}

PointEncoder::PointEncoder(std::uint8_t pointFormat, double startTime)
    : legacy_(pointFormat < 6), startTime_(startTime), recordLength_(recordLengthOf(pointFormat)) {
    const auto dimensions = dimensionsOf(pointFormat);
    const struct {
        Field& field;
        std::string_view name;
    } table[] = {{x_, "X"},
                 {y_, "Y"},
                 {z_, "Z"},
                 {intensity_, "Intensity"},
                 {returnNumber_, "ReturnNumber"},
                 {numberOfReturns_, "NumberOfReturns"},
                 {forward_, "ScanDirectionFlag"},
                 {edge_, "EdgeOfFlightLine"},
                 {classification_, ClassificationName},
                 {synthetic_, "Synthetic"},
                 {keyPoint_, "KeyPoint"},
                 {withheld_, "Withheld"},
                 {overlap_, "Overlap"},
                 {angle_, "ScanAngle"},
                 {angleRank_, "ScanAngleRank"},
                 {source_, "PointSourceId"},
                 {time_, "GpsTime"},
                 {red_, "Red"},
                 {green_, "Green"},
                 {blue_, "Blue"},
                 {infrared_, "Infrared"}};
    for (const auto& [field, name] : table) field = find(dimensions, name);
}

template <typename T>
void PointEncoder::put(std::byte* record, const Field& field, T value) {
    if (!field.there) return;
    if (field.packed)
        record[field.offset] |= static_cast<std::byte>(static_cast<unsigned>(value) << field.firstBit);
    else
        std::memcpy(record + field.offset, &value, sizeof value);
}

void PointEncoder::encode(const SamplePoint& point, std::byte* record) const {
    std::memset(record, 0, recordLength_);
    put(record, x_, point.position[0]);
    put(record, y_, point.position[1]);
    put(record, z_, point.position[2]);
    put(record, intensity_, point.intensity);
    put(record, returnNumber_, point.returnNumber);
    put(record, numberOfReturns_, point.numberOfReturns);
    put(record, forward_, std::uint8_t{point.forward});
    put(record, edge_, std::uint8_t{point.edge});
    const auto legacyClass = point.overlap ? LegacyOverlapClass : legacyClassOf(point.classification);
    put(record, classification_, legacy_ ? legacyClass : point.classification);
    put(record, synthetic_, std::uint8_t{point.synthetic});
    put(record, keyPoint_, std::uint8_t{point.keyPoint});
    put(record, withheld_, std::uint8_t{point.withheld});
    put(record, overlap_, std::uint8_t{point.overlap});
    put(record, angle_, static_cast<std::int16_t>(point.scanAngle / 0.006)); // the unit of the format, in degrees
    put(record, angleRank_, static_cast<std::int8_t>(point.scanAngle));
    put(record, source_, point.line);
    put(record, time_, timeOf(point.gpsTime));
    put(record, red_, point.colour[0]);
    put(record, green_, point.colour[1]);
    put(record, blue_, point.colour[2]);
    put(record, infrared_, point.colour[3]);
}

} // namespace corvane
