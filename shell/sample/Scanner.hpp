// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "sample/Landscape.hpp"

#include <array>
#include <cstdint>
#include <vector>

namespace corvane {

/// One return; coordinates are whole hundredths of a metre from the survey's corner.
struct SamplePoint {
    std::array<std::int32_t, 3> position{};
    std::uint16_t intensity = 0;
    std::uint8_t returnNumber = 1, numberOfReturns = 1;
    std::uint8_t classification = 1; ///< as in point formats 6 to 10
    bool forward = false;            ///< the mirror's way across
    bool edge = false;               ///< the last of its row
    bool synthetic = false, keyPoint = false, withheld = false, overlap = false;
    double scanAngle = 0; ///< degrees, positive to the right
    std::uint16_t line = 1;
    double gpsTime = 0;                    ///< seconds since the survey began, ever increasing
    std::array<std::uint16_t, 4> colour{}; ///< red, green, blue, infrared
};

/// An aeroplane over a square of the landscape, back and forth in overlapping lines. It flies on as points come in, so
/// that exactly the wished number covers the square.
class Scanner {
public:
    static constexpr std::uint64_t MostPoints = 1'000'000'000'000; ///< positions stay within 32 bits

    Scanner(std::uint64_t points, std::uint64_t seed);

    /// The points of the next row; false when the survey is complete. A row may hold none.
    bool nextRow(std::vector<SamplePoint>& row);

private:
    void startLine();
    void addPulse(std::vector<SamplePoint>& row, double x, double y, double across);
    SamplePoint pointOf(const Beam::Hit& hit, double x, double y, double across);

    Landscape landscape_;
    Random random_;
    std::uint64_t points_;
    double side_;    ///< metres, of the square
    double spacing_; ///< metres, from line to line
    std::uint64_t lines_;
    std::uint64_t line_ = 0;
    std::uint64_t lineTotal_ = 0, lineDone_ = 0; ///< points
    bool forward_ = true;
    double time_ = 0;
};

} // namespace corvane
