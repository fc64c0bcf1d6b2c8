// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "laz/IntegerCoder.hpp"
#include "laz/Record.hpp"
#include "laz/StreamingMedian.hpp"

#include <cstdlib>

namespace laz {

/// What all point formats up to 5 begin with, as it lies in the record.
struct Point10Record {
    std::int32_t x, y, z;
    std::uint16_t intensity;
    std::uint8_t returns; // bits 0-2 return number, 3-5 number of returns, 6 scan direction, 7 edge
    std::uint8_t classification;
    std::uint8_t rank; // of the scan angle
    std::uint8_t user;
    std::uint16_t source;

    int number() const { return returns & 7; }
    int count() const { return returns >> 3 & 7; }
    bool direction() const { return (returns & 0x40) != 0; }
};
static_assert(sizeof(Point10Record) == 20);

/// Which of the bytes behind the coordinates differ from those of the point before: bits of a symbol, the same ones in
/// both versions but for the two of returns and intensity, which version 1 has the other way round.
template <class Coder>
class Point10Bytes {
public:
    static constexpr std::size_t Size = sizeof(Point10Record);

protected:
    using Bytes = typename Coder::template Model<256>;

    static std::uint32_t differences(const Point10Record& now, const Point10Record& last) {
        return std::uint32_t{now.classification != last.classification} << 3 |
               std::uint32_t{now.rank != last.rank} << 2 | std::uint32_t{now.user != last.user} << 1 |
               std::uint32_t{now.source != last.source};
    }

    /// A byte by the model of what it was in the point before.
    static std::uint8_t byte(Coder& coder, std::array<Bytes, 256>& models, std::uint8_t last, std::uint8_t now) {
        models[last].ensure();
        return static_cast<std::uint8_t>(coder.symbol(models[last], now));
    }

    std::uint32_t codeChanged(Coder& coder, std::uint32_t changed) {
        changed_.ensure();
        return coder.symbol(changed_, changed);
    }

    typename Coder::template Model<64> changed_;
    std::array<Bytes, 256> returns_, class_, user_;
};

/// The point of formats 0 to 5, version 2. Coordinates are predicted by the medians of the last steps, intensity and
/// height by the last ones, each among the points of alike returns.
template <class Coder>
class Point10 : Point10Bytes<Coder> {
public:
    using Point10Bytes<Coder>::Size;

    explicit Point10(const std::byte* first) : last_(get<Point10Record>(first)) {}

    void code(Coder& coder, typename Coder::Byte* item) {
        Point10Record now = Coder::Encodes ? get<Point10Record>(item) : last_;
        std::uint32_t changed = 0;
        if constexpr (Coder::Encodes)
            changed = std::uint32_t{now.returns != last_.returns} << 5 |
                      std::uint32_t{now.intensity != intensities_[group(now)]} << 4 | this->differences(now, last_);
        changed = this->codeChanged(coder, changed);
        if (changed & 32) now.returns = this->byte(coder, this->returns_, last_.returns, now.returns);
        const std::uint32_t alike = group(now);
        codeBytes(coder, now, changed, alike);
        codePosition(coder, now, alike);
        last_ = now;
        if constexpr (!Coder::Encodes) put(item, now);
    }

private:
    /// Points of alike returns, 16 groups. Rows are numbers of returns, columns the number of this one.
    static std::uint32_t group(const Point10Record& point) {
        static constexpr auto Groups = digits<8, 8>("FEDCBA98E0136AA9D1247BBAC3458CCBB6789DDCAABCDEED9ABCDEFE89ABCDEF");
        return Groups[point.count()][point.number()];
    }

    void codeBytes(Coder& coder, Point10Record& now, std::uint32_t changed, std::uint32_t alike) {
        auto& intensity = intensities_[alike];
        if (changed & 16)
            intensity = static_cast<std::uint16_t>(
                intensity_.code(coder, intensity, std::min<std::uint32_t>(alike, 3), now.intensity));
        now.intensity = intensity;
        if (changed & 8) now.classification = this->byte(coder, this->class_, last_.classification, now.classification);
        if (changed & 4) {
            auto& steps = angle_[now.direction()];
            steps.ensure();
            now.rank = static_cast<std::uint8_t>(last_.rank +
                                                 coder.symbol(steps, static_cast<std::uint8_t>(now.rank - last_.rank)));
        }
        if (changed & 2) now.user = this->byte(coder, this->user_, last_.user, now.user);
        if (changed & 1) now.source = static_cast<std::uint16_t>(source_.code(coder, last_.source, 0, now.source));
    }

    void codePosition(Coder& coder, Point10Record& now, std::uint32_t alike) {
        const std::uint32_t single = now.count() == 1;
        const auto even = [single](std::uint32_t bits, std::uint32_t most) {
            return single + (bits < most ? bits & ~1u : most);
        };
        auto& [stepX, stepY] = steps_[alike];
        const std::int32_t x = dx_.code(coder, stepX.median(), single, minus(now.x, last_.x));
        now.x = plus(last_.x, x);
        stepX.add(x);
        const std::int32_t y = dy_.code(coder, stepY.median(), even(dx_.bitsOfLast(), 20), minus(now.y, last_.y));
        now.y = plus(last_.y, y);
        stepY.add(y);
        auto& height = heights_[static_cast<std::size_t>(std::abs(now.count() - now.number()))];
        now.z = z_.code(coder, height, even((dx_.bitsOfLast() + dy_.bitsOfLast()) / 2, 18), now.z);
        height = now.z;
    }

    struct Steps {
        StreamingMedian x, y;
    };

    Point10Record last_;
    std::array<std::uint16_t, 16> intensities_{};
    std::array<std::int32_t, 8> heights_{};
    std::array<Steps, 16> steps_;
    std::array<typename Coder::template Model<256>, 2> angle_;
    IntegerCoder<Coder, 16, 4> intensity_;
    IntegerCoder<Coder, 16, 1> source_;
    IntegerCoder<Coder, 32, 2> dx_;
    IntegerCoder<Coder, 32, 22> dy_;
    IntegerCoder<Coder, 32, 20> z_;
};

/// Version 1, of early files: coordinates by the median of the last three steps, all else by the point before.
template <class Coder>
class Point10Version1 : Point10Bytes<Coder> {
public:
    using Point10Bytes<Coder>::Size;

    explicit Point10Version1(const std::byte* first) : last_(get<Point10Record>(first)) {}

    void code(Coder& coder, typename Coder::Byte* item) {
        Point10Record now = Coder::Encodes ? get<Point10Record>(item) : last_;
        const std::int32_t x = dx_.code(coder, middle(stepsX_), 0, minus(now.x, last_.x));
        const std::int32_t y = dy_.code(coder, middle(stepsY_), std::min(dx_.bitsOfLast(), 19u), minus(now.y, last_.y));
        const std::uint32_t bits = (dx_.bitsOfLast() + dy_.bitsOfLast()) / 2;
        now.x = plus(last_.x, x);
        now.y = plus(last_.y, y);
        now.z = z_.code(coder, last_.z, std::min(bits, 19u), now.z);
        stepsX_ = {stepsX_[1], stepsX_[2], x};
        stepsY_ = {stepsY_[1], stepsY_[2], y};
        codeBytes(coder, now, bits);
        last_ = now;
        if constexpr (!Coder::Encodes) put(item, now);
    }

private:
    using Steps = std::array<std::int32_t, 3>; // the oldest first

    static std::int32_t middle(const Steps& steps) {
        return std::max(std::min(steps[0], steps[1]), std::min(std::max(steps[0], steps[1]), steps[2]));
    }

    void codeBytes(Coder& coder, Point10Record& now, std::uint32_t bits) {
        std::uint32_t changed = 0;
        if constexpr (Coder::Encodes)
            changed = std::uint32_t{now.intensity != last_.intensity} << 5 |
                      std::uint32_t{now.returns != last_.returns} << 4 | this->differences(now, last_);
        changed = this->codeChanged(coder, changed);
        if (changed & 32)
            now.intensity = static_cast<std::uint16_t>(intensity_.code(coder, last_.intensity, 0, now.intensity));
        if (changed & 16) now.returns = this->byte(coder, this->returns_, last_.returns, now.returns);
        if (changed & 8) now.classification = this->byte(coder, this->class_, last_.classification, now.classification);
        if (changed & 4) now.rank = static_cast<std::uint8_t>(angle_.code(coder, last_.rank, bits < 3, now.rank));
        if (changed & 2) now.user = this->byte(coder, this->user_, last_.user, now.user);
        if (changed & 1) now.source = static_cast<std::uint16_t>(source_.code(coder, last_.source, 0, now.source));
    }

    Point10Record last_;
    Steps stepsX_{}, stepsY_{};
    IntegerCoder<Coder, 32, 1> dx_;
    IntegerCoder<Coder, 32, 20> dy_, z_;
    IntegerCoder<Coder, 16, 1> intensity_, source_;
    IntegerCoder<Coder, 8, 2> angle_;
};

} // namespace laz
