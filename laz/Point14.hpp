// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "laz/GpsTime.hpp"
#include "laz/IntegerCoder.hpp"
#include "laz/Record.hpp"
#include "laz/StreamingMedian.hpp"

#include <cstdlib>
#include <memory>
#include <span>

namespace laz {

/// Where things are in what all point formats from 6 on begin with.
namespace point14 {
inline constexpr std::size_t X = 0, Y = 4, Z = 8, Intensity = 12, Returns = 14, Flags = 15, Class = 16, User = 17,
                             Angle = 18, Source = 20, Time = 22, Size = 30; // bytes
inline constexpr std::size_t Layers = 9;
inline constexpr std::uint8_t ChannelBits = 0x30, ChannelShift = 4; // in the flags
inline constexpr std::size_t Channels = 4;

inline std::uint32_t channel(const std::byte* record) {
    return get<std::uint8_t>(record + Flags) >> ChannelShift & (Channels - 1);
}
} // namespace point14

/// What the first layer tells the others of a point.
struct PointNote {
    std::uint8_t channel;       ///< of the scanner
    bool switched;              ///< another channel than the point before
    bool time, angle, source;   ///< differ from the last ones of the channel
    std::uint8_t place;         ///< 1: the last one of its returns; 2: the first one; 3: both
    std::uint8_t level;         ///< how many returns are below it, at most 7
    std::uint8_t heightContext; ///< of the height
};

/// Number and count of a point's returns, as they lie in the record.
struct Returns {
    std::uint8_t byte = 0;

    std::uint32_t number() const { return byte & 15; }
    std::uint32_t count() const { return byte >> 4; }
    bool first() const { return number() == 1; }
    bool last() const { return number() >= count(); }
    std::uint8_t place() const { return static_cast<std::uint8_t>(2 * first() + last()); }
    std::uint8_t level() const {
        return static_cast<std::uint8_t>(std::min(std::abs(int(count()) - int(number())), 7));
    }
    /// Points of alike returns, 6 groups. Rows are numbers of returns, columns the number of this one.
    std::uint32_t group() const {
        static constexpr auto Groups = digits<16, 16>("01234534455555551013333333333333"
                                                      "21244444444333333345444444444444"
                                                      "43445444444444445344454444444444"
                                                      "33444454444444444344444544444444"
                                                      "43444444544444445344444445444444"
                                                      "53444444445444445334444444455444"
                                                      "53344444444555445334444444445554"
                                                      "53344444444445555334444444444455");
        return Groups[count()][number()];
    }
};

/// Layer 1 of formats 6 to 10: scanner channel, returns, X and Y of each point, and which of the others changed. All
/// state is kept for each channel; one that is new begins as the channel that is left.
template <class Coder>
class FirstLayer {
public:
    explicit FirstLayer(const std::byte* first) : now_(point14::channel(first)) {
        channels_[now_] = std::make_unique<Channel>(Last(first));
    }

    /// Decodes or encodes the next point, whose other fields are looked at when it is encoded.
    PointNote code(Coder& coder, typename Coder::Byte* record) {
        Channel& left = *channels_[now_];
        const std::uint32_t before = 2 * left.last.returns.last() + left.last.returns.first() + 4 * left.timeChanged;
        Wanted wanted;
        std::uint32_t changes = 0;
        if constexpr (Coder::Encodes) {
            wanted = Wanted(record);
            changes = changesOf(wanted);
        }
        left.changes[before].ensure();
        changes = coder.symbol(left.changes[before], changes);
        const bool switched = (changes & OtherChannel) != 0;
        if (switched) change(coder, wanted.channel);

        Channel& channel = *channels_[now_];
        const Returns returns = codeReturns(coder, channel, changes, wanted.last.returns);
        PointNote note{};
        note.channel = static_cast<std::uint8_t>(now_);
        note.switched = switched;
        note.time = (changes & OtherTime) != 0;
        note.angle = (changes & OtherAngle) != 0;
        note.source = (changes & OtherSource) != 0;
        note.place = returns.place();
        note.level = returns.level();
        channel.last.returns = returns;
        channel.timeChanged = note.time;
        codePosition(coder, channel, note, wanted.last);
        if constexpr (Coder::Encodes)
            channel.last = wanted.last;
        else
            store(channel.last, record);
        return note;
    }

private:
    // Bits of the symbol of changes; the lowest two say how the number of the return is told.
    enum Change : std::uint32_t {
        ReturnNumber = 3,
        OtherCount = 4,
        OtherAngle = 8,
        OtherTime = 16,
        OtherSource = 32,
        OtherChannel = 64
    };
    enum Number : std::uint32_t { SameNumber, NextNumber, NumberBefore, AnyNumber };

    /// What is remembered of the last point of a channel; the last three only by who encodes.
    struct Last {
        Last() = default;
        explicit Last(const std::byte* record)
            : x(get<std::int32_t>(record + point14::X)),
              y(get<std::int32_t>(record + point14::Y)),
              returns{get<std::uint8_t>(record + point14::Returns)},
              angle(get<std::int16_t>(record + point14::Angle)),
              source(get<std::uint16_t>(record + point14::Source)),
              time(get<std::int64_t>(record + point14::Time)) {}

        std::int32_t x = 0, y = 0;
        Returns returns;
        std::int16_t angle = 0;
        std::uint16_t source = 0;
        std::int64_t time = 0;
    };

    struct Wanted {
        Wanted() = default;
        explicit Wanted(const std::byte* record) : last(record), channel(point14::channel(record)) {}

        Last last;
        std::uint32_t channel = 0;
    };

    struct Channel {
        explicit Channel(const Last& start) : last(start) {}

        Last last;
        bool timeChanged = false;
        std::array<StreamingMedian, 12> stepsX, stepsY;
        std::array<typename Coder::template Model<128>, 8> changes;
        typename Coder::template Model<3> channel;
        std::array<typename Coder::template Model<16>, 16> counts, numbers;
        typename Coder::template Model<13> sameTimeNumber;
        IntegerCoder<Coder, 32, 2> dx;
        IntegerCoder<Coder, 32, 22> dy;
    };

    std::uint32_t changesOf(const Wanted& wanted) const {
        const bool other = wanted.channel != now_;
        const Last& last = channels_[other && channels_[wanted.channel] ? wanted.channel : now_]->last;
        const bool time = wanted.last.time != last.time;
        return numberChange(last.returns, wanted.last.returns) |
               (wanted.last.returns.count() != last.returns.count() ? OtherCount : 0u) |
               (wanted.last.angle != last.angle ? OtherAngle : 0u) | (time ? OtherTime : 0u) |
               (wanted.last.source != last.source ? OtherSource : 0u) | (other ? OtherChannel : 0u);
    }

    static std::uint32_t numberChange(const Returns& last, const Returns& now) {
        switch ((now.number() - last.number()) & 15) {
        case 0:
            return SameNumber;
        case 1:
            return NextNumber;
        case 15:
            return NumberBefore;
        default:
            return AnyNumber;
        }
    }

    void change(Coder& coder, std::uint32_t wanted) {
        Channel& left = *channels_[now_];
        left.channel.ensure();
        now_ = (now_ + 1 + coder.symbol(left.channel, (wanted - now_ - 1) & 3)) & 3;
        if (!channels_[now_]) channels_[now_] = std::make_unique<Channel>(left.last);
    }

    Returns codeReturns(Coder& coder, Channel& channel, std::uint32_t changes, const Returns& wanted) {
        const Returns last = channel.last.returns;
        std::uint32_t count = last.count(), number = last.number();
        if (changes & OtherCount) {
            auto& model = channel.counts[count];
            model.ensure();
            count = coder.symbol(model, wanted.count());
        }
        const std::uint32_t how = changes & ReturnNumber;
        if (how == NextNumber) number = (number + 1) & 15;
        if (how == NumberBefore) number = (number + 15) & 15;
        if (how == AnyNumber && (changes & OtherTime)) {
            auto& model = channel.numbers[number];
            model.ensure();
            number = coder.symbol(model, wanted.number());
        } else if (how == AnyNumber) {
            channel.sameTimeNumber.ensure();
            number = (number + 2 + coder.symbol(channel.sameTimeNumber, (wanted.number() - number - 2) & 15)) & 15;
        }
        return {static_cast<std::uint8_t>(count << 4 | number)};
    }

    void codePosition(Coder& coder, Channel& channel, PointNote& note, const Last& wanted) {
        const Returns returns = channel.last.returns;
        const std::uint32_t group = 2 * returns.group() + note.time;
        const std::uint32_t single = returns.count() == 1;
        auto &stepX = channel.stepsX[group], &stepY = channel.stepsY[group];
        const std::int32_t x = channel.dx.code(coder, stepX.median(), single, minus(wanted.x, channel.last.x));
        stepX.add(x);
        const std::uint32_t bits = channel.dx.bitsOfLast();
        const std::int32_t y = channel.dy.code(coder, stepY.median(), single + (bits < 20 ? bits & ~1u : 20),
                                               minus(wanted.y, channel.last.y));
        stepY.add(y);
        channel.last.x = plus(channel.last.x, x);
        channel.last.y = plus(channel.last.y, y);
        const std::uint32_t mean = (bits + channel.dy.bitsOfLast()) / 2;
        note.heightContext = static_cast<std::uint8_t>(single + (mean < 18 ? mean & ~1u : 18));
    }

    void store(const Last& last, std::byte* record) const {
        put(record + point14::X, last.x);
        put(record + point14::Y, last.y);
        put(record + point14::Returns, last.returns.byte);
        put(record + point14::Flags, static_cast<std::uint8_t>(now_ << point14::ChannelShift));
    }

    std::array<std::unique_ptr<Channel>, point14::Channels> channels_;
    std::uint32_t now_;
};

// The other layers of the point. Each is made once for a channel, from the last value of the channel that is left; it
// knows where its value lies in the record and codes it after the last one of the channel. A layer that `tells` nothing
// of any point is left out of the chunk.

template <class T, std::size_t Place>
struct PlainLayer {
    using Value = T;
    static Value load(const std::byte* record) { return get<T>(record + Place); }
    static void store(std::byte* record, Value value) { put(record + Place, value); }
    static bool tells(Value last, Value now) { return now != last; }
};

template <class Coder>
class HeightLayer : public PlainLayer<std::int32_t, point14::Z> {
public:
    explicit HeightLayer(Value last) { heights_.fill(last); }

    Value code(Coder& coder, Value, Value now, const PointNote& note) {
        auto& height = heights_[note.level];
        return height = height_.code(coder, height, note.heightContext, now);
    }

private:
    std::array<Value, 8> heights_;
    IntegerCoder<Coder, 32, 20> height_;
};

template <class Coder>
class ClassLayer : public PlainLayer<std::uint8_t, point14::Class> {
public:
    explicit ClassLayer(Value) {}

    Value code(Coder& coder, Value last, Value now, const PointNote& note) {
        auto& model = classes_[(last & 31) << 1 | (note.place == 3)];
        model.ensure();
        return static_cast<Value>(coder.symbol(model, now));
    }

private:
    std::array<typename Coder::template Model<256>, 64> classes_;
};

/// Class flags, scan direction and edge of the flight line; not the channel, which lies between them.
template <class Coder>
class FlagsLayer {
public:
    using Value = std::uint8_t;

    explicit FlagsLayer(Value) {}
    static Value load(const std::byte* record) {
        const auto byte = get<std::uint8_t>(record + point14::Flags);
        return static_cast<Value>((byte & 15) | byte >> 6 << 4);
    }
    static void store(std::byte* record, Value value) {
        const auto channel = get<std::uint8_t>(record + point14::Flags) & point14::ChannelBits;
        put(record + point14::Flags, static_cast<std::uint8_t>(channel | (value & 15) | value >> 4 << 6));
    }
    static bool tells(Value last, Value now) { return now != last; }

    Value code(Coder& coder, Value last, Value now, const PointNote&) {
        flags_[last].ensure();
        return static_cast<Value>(coder.symbol(flags_[last], now));
    }

private:
    std::array<typename Coder::template Model<64>, 64> flags_;
};

template <class Coder>
class IntensityLayer : public PlainLayer<std::uint16_t, point14::Intensity> {
public:
    explicit IntensityLayer(Value last) { intensities_.fill(last); }

    Value code(Coder& coder, Value, Value now, const PointNote& note) {
        auto& last = intensities_[2u * note.place + note.time];
        return last = static_cast<Value>(intensity_.code(coder, last, note.place, now));
    }

private:
    std::array<Value, 8> intensities_;
    IntegerCoder<Coder, 16, 4> intensity_;
};

template <class Coder>
class AngleLayer : public PlainLayer<std::int16_t, point14::Angle> {
public:
    explicit AngleLayer(Value) {}

    Value code(Coder& coder, Value last, Value now, const PointNote& note) {
        return note.angle ? static_cast<Value>(angle_.code(coder, last, note.time, now)) : last;
    }

private:
    IntegerCoder<Coder, 16, 2> angle_;
};

template <class Coder>
class UserLayer : public PlainLayer<std::uint8_t, point14::User> {
public:
    explicit UserLayer(Value) {}

    Value code(Coder& coder, Value last, Value now, const PointNote&) {
        auto& model = users_[last >> 2];
        model.ensure();
        return static_cast<Value>(coder.symbol(model, now));
    }

private:
    std::array<typename Coder::template Model<256>, 64> users_;
};

template <class Coder>
class SourceLayer : public PlainLayer<std::uint16_t, point14::Source> {
public:
    explicit SourceLayer(Value) {}

    Value code(Coder& coder, Value last, Value now, const PointNote& note) {
        return note.source ? static_cast<Value>(source_.code(coder, last, 0, now)) : last;
    }

private:
    IntegerCoder<Coder, 16, 1> source_;
};

template <class Coder>
class TimeLayer : public PlainLayer<std::int64_t, point14::Time> {
public:
    explicit TimeLayer(Value last) : sequences_(last) {}

    Value code(Coder& coder, Value last, Value now, const PointNote& note) {
        return note.time ? sequences_.code(coder, now) : last;
    }

private:
    GpsTime<Coder, true> sequences_;
};

} // namespace laz
