// SPDX-License-Identifier: Apache-2.0
#include "sample/Scanner.hpp"

#include <algorithm>
#include <cmath>

namespace corvane {
namespace {

constexpr double Density = 8;               // points per square metre
constexpr double SmallestSide = 20;         // metres
constexpr double WidestSpacing = 300;       // metres
constexpr double Swath = 1.2;               // of the spacing; the rest is overlap
constexpr double PulseDistance = 0.4;       // metres, across
constexpr double WidestAngle = 20;          // degrees
constexpr double PulseTime = 1.0 / 250'000; // seconds
constexpr double RowTime = 0.0002, TurnTime = 240;

std::uint64_t linesFor(double side) {
    return static_cast<std::uint64_t>(std::clamp(std::ceil(side / WidestSpacing), 3.0, 65535.0));
}

std::int32_t hundredths(double metres) { return static_cast<std::int32_t>(std::floor(metres * 100 + 0.5)); }

} // namespace

Scanner::Scanner(std::uint64_t points, std::uint64_t seed)
    : landscape_(mixed(seed)),
      random_(mixed(seed + 1)),
      points_(points),
      side_(std::max(SmallestSide, std::sqrt(static_cast<double>(points) / Density))),
      spacing_(side_ / static_cast<double>(linesFor(side_))),
      lines_(linesFor(side_)) {
    startLine();
}

void Scanner::startLine() {
    lineTotal_ = points_ / lines_ + (line_ < points_ % lines_ ? 1 : 0);
    lineDone_ = 0;
}

bool Scanner::nextRow(std::vector<SamplePoint>& row) {
    row.clear();
    while (lineDone_ == lineTotal_) {
        if (++line_ >= lines_) return false;
        time_ += TurnTime;
        startLine();
    }
    const double flown = side_ * static_cast<double>(lineDone_) / static_cast<double>(lineTotal_);
    const double y = line_ % 2 == 0 ? flown : side_ - flown;
    const double middle = (static_cast<double>(line_) + 0.5) * spacing_;
    const double width = Swath * spacing_;
    const auto pulses = static_cast<int>(width / PulseDistance) + 1;
    for (int pulse = 0; pulse < pulses; ++pulse) {
        const double swept = (pulse + random_.unit()) / pulses - 0.5;
        const double across = forward_ ? swept : -swept; // of the width
        addPulse(row, middle + across * width, y + 0.1 * random_.bell(), across);
        time_ += PulseTime;
    }
    if (!row.empty()) row.back().edge = true;
    lineDone_ += row.size();
    forward_ = !forward_;
    time_ += RowTime;
    return true;
}

void Scanner::addPulse(std::vector<SamplePoint>& row, double x, double y, double across) {
    const auto beam = landscape_.probe(x, y, random_);
    const auto returns = std::min<std::uint64_t>(beam.count, lineTotal_ - lineDone_ - row.size());
    for (std::size_t i = 0; i < returns; ++i) {
        auto point = pointOf(beam.hits[i], x, y, across);
        point.returnNumber = static_cast<std::uint8_t>(i + 1);
        point.numberOfReturns = static_cast<std::uint8_t>(returns);
        point.intensity = static_cast<std::uint16_t>(point.intensity / returns);
        row.push_back(point);
    }
}

SamplePoint Scanner::pointOf(const Beam::Hit& hit, double x, double y, double across) {
    const auto& facts = factsOf(hit.surface);
    // Beyond the middle between two lines, the neighbour is nearer.
    const bool beyondLeft = line_ > 0 && across * Swath < -0.5;
    const bool beyondRight = line_ + 1 < lines_ && across * Swath > 0.5;
    SamplePoint point;
    point.position = {hundredths(x), hundredths(y), hundredths(hit.z)};
    point.intensity = static_cast<std::uint16_t>(facts.intensity * (1 + 0.5 * random_.bell()));
    point.classification = landscape_.isMistaken(x, y, random_) ? facts.mistake : facts.truth;
    point.forward = forward_;
    point.synthetic = hit.surface == Surface::Water && random_.chance(0.02);
    point.keyPoint = hit.surface == Surface::Ground && random_.chance(0.002);
    point.withheld = (hit.surface == Surface::LowNoise || hit.surface == Surface::HighNoise) && random_.chance(0.5);
    point.overlap = beyondLeft || beyondRight;
    // A line flown towards smaller y has its right side at smaller x.
    point.scanAngle = 2 * WidestAngle * across * (line_ % 2 == 0 ? 1 : -1);
    point.line = static_cast<std::uint16_t>(line_ + 1);
    point.gpsTime = time_;
    const double light = 256 * (0.85 + 0.15 * random_.bell());
    std::ranges::transform(facts.colour, point.colour.begin(),
                           [light](std::uint8_t c) { return static_cast<std::uint16_t>(c * light); });
    return point;
}

} // namespace corvane
