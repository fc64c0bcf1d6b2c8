// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "las/LasDimensions.hpp"
#include "sample/Scanner.hpp"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace corvane {

/// Writes points as records of one point format. What the format does not have is left out.
class PointEncoder {
public:
    /// `startTime` is added to every GPS time.
    PointEncoder(std::uint8_t pointFormat, double startTime);

    std::size_t recordLength() const { return recordLength_; }

    /// The GPS time as it is written.
    double timeOf(double gpsTime) const { return startTime_ + gpsTime; }

    /// `record` has recordLength() bytes.
    void encode(const SamplePoint& point, std::byte* record) const;

private:
    struct Field {
        bool there = false, packed = false;
        std::uint8_t firstBit = 0;
        std::size_t offset = 0;
    };

    static Field find(const std::vector<Dimension>& dimensions, std::string_view name);

    template <typename T>
    static void put(std::byte* record, const Field& field, T value);

    bool legacy_;
    double startTime_;
    std::size_t recordLength_;
    Field x_, y_, z_, intensity_, returnNumber_, numberOfReturns_, forward_, edge_, classification_, synthetic_,
        keyPoint_, withheld_, overlap_, angle_, angleRank_, source_, time_, red_, green_, blue_, infrared_;
};

} // namespace corvane
