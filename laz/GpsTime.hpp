// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "laz/IntegerCoder.hpp"
#include "laz/Record.hpp"

#include <optional>

namespace laz {

/// GPS times, as the integers of the same bits: version 2 of the item, and the layer of formats 6 to 10, which has no
/// symbol for a time that did not change. Lines of flight overlap in time order, so up to four sequences are kept, each
/// with its last time and its usual step; a time is coded as a multiple of the step in the sequence that it continues.
template <class Coder, bool Layered>
class GpsTime {
public:
    explicit GpsTime(std::int64_t first) : times_{first} {}

    /// The time, given when it is encoded. In a layer it must differ from the one before.
    std::int64_t code(Coder& coder, std::int64_t time) {
        // An encoder changes the sequence once and then codes in it; only damage changes it again and again.
        for (int changes = 0; changes < 2; ++changes)
            if (steps_[now_] == 0 ? codeFirstStep(coder, time) : codeMultiple(coder, time)) return times_[now_];
        if constexpr (!Coder::Encodes) coder.fail();
        return times_[now_];
    }

private:
    // Symbols are numbered as in the item; the layer leaves out Unchanged and moves those behind it down.
    static constexpr std::uint32_t LargestMultiple = 500, LeastMultiple = 10; // forwards and backwards
    enum FirstStep : std::uint32_t { Same, OneStep, WholeTime, AnotherSequence };
    enum Multiple : std::uint32_t { Backwards = 500, FarBackwards = 510, Unchanged, Whole, Another };

    static constexpr std::int32_t EveryStep = 3; // as many unusual steps in a row are forgiven

    bool codeFirstStep(Coder& coder, std::int64_t time) {
        std::uint32_t symbol = 0;
        if constexpr (Coder::Encodes) symbol = firstStepFor(time);
        firstSteps_.ensure();
        symbol = coder.symbol(firstSteps_, symbol - Layered) + Layered;
        if (symbol == OneStep) {
            steps_[now_] = code32(coder, 0, 0, time);
            unusual_[now_] = 0;
            advance(steps_[now_]);
        } else if (symbol == WholeTime)
            codeWhole(coder, time);
        else if (symbol >= AnotherSequence)
            return change(symbol - AnotherSequence);
        return true;
    }

    bool codeMultiple(Coder& coder, std::int64_t time) {
        std::uint32_t symbol = 0;
        if constexpr (Coder::Encodes) symbol = multipleFor(time);
        multiples_.ensure();
        symbol = coder.symbol(multiples_, symbol - (Layered && symbol > Unchanged));
        symbol += Layered && symbol >= Unchanged;
        if (symbol <= FarBackwards)
            codeSteps(coder, symbol, time);
        else if (symbol == Whole)
            codeWhole(coder, time);
        else if (symbol >= Another)
            return change(symbol - Another);
        return true;
    }

    /// A number of steps, as the symbol says: none, 1 to 500 forwards, 1 to 10 backwards.
    void codeSteps(Coder& coder, std::uint32_t symbol, std::int64_t time) {
        const std::int32_t step = steps_[now_];
        const auto forwards = static_cast<std::int32_t>(symbol);
        const std::int32_t backwards = static_cast<std::int32_t>(Backwards) - forwards;
        std::int32_t taken = 0;
        bool unusual = false;
        if (symbol == 0) {
            taken = code32(coder, 0, 7, time);
            unusual = true;
        } else if (symbol == 1) {
            taken = code32(coder, step, 1, time);
            unusual_[now_] = 0;
        } else if (symbol < LargestMultiple)
            taken = code32(coder, times(forwards, step), symbol < 10 ? 2 : 3, time);
        else if (symbol == LargestMultiple) {
            taken = code32(coder, times(forwards, step), 4, time);
            unusual = true;
        } else {
            unusual = symbol == FarBackwards;
            taken = code32(coder, times(backwards, step), unusual ? 6 : 5, time);
        }
        advance(taken);
        if (unusual && ++unusual_[now_] > EveryStep) {
            steps_[now_] = taken;
            unusual_[now_] = 0;
        }
    }

    std::int32_t code32(Coder& coder, std::int32_t prediction, std::uint32_t context, std::int64_t time) {
        return differences_.code(coder, prediction, context, static_cast<std::int32_t>(from(now_, time)));
    }

    /// All 64 bits, in the place of the sequence that was begun longest ago.
    void codeWhole(Coder& coder, std::int64_t time) {
        newest_ = (newest_ + 1) & 3;
        const auto upper = differences_.code(coder, static_cast<std::int32_t>(times_[now_] >> 32), 8,
                                             static_cast<std::int32_t>(time >> 32));
        const std::uint32_t lower = coder.raw(32, static_cast<std::uint32_t>(time));
        now_ = newest_;
        times_[now_] = static_cast<std::int64_t>(std::uint64_t{static_cast<std::uint32_t>(upper)} << 32 | lower);
        steps_[now_] = 0;
        unusual_[now_] = 0;
    }

    bool change(std::uint32_t by) {
        now_ = (now_ + 1 + by) & 3;
        return false;
    }

    void advance(std::int32_t step) {
        times_[now_] = static_cast<std::int64_t>(static_cast<std::uint64_t>(times_[now_]) +
                                                 static_cast<std::uint64_t>(std::int64_t{step}));
    }

    /// What follows is the encoder's choice alone; the decoder takes every choice.

    std::int64_t from(std::size_t sequence, std::int64_t time) const {
        return static_cast<std::int64_t>(static_cast<std::uint64_t>(time) -
                                         static_cast<std::uint64_t>(times_[sequence]));
    }
    bool near(std::size_t sequence, std::int64_t time) const {
        const std::int64_t difference = from(sequence, time);
        return difference == static_cast<std::int32_t>(difference);
    }
    std::uint32_t otherFor(std::int64_t time, std::uint32_t another, std::uint32_t whole) const {
        for (std::uint32_t by = 0; by < 3; ++by)
            if (near((now_ + 1 + by) & 3, time)) return another + by;
        return whole;
    }

    std::uint32_t firstStepFor(std::int64_t time) const {
        if (!Layered && time == times_[now_]) return Same;
        return near(now_, time) ? std::uint32_t{OneStep} : otherFor(time, AnotherSequence, WholeTime);
    }

    std::uint32_t multipleFor(std::int64_t time) const {
        if (!Layered && time == times_[now_]) return Unchanged;
        if (!near(now_, time)) return otherFor(time, Another, Whole);
        const float quotient = static_cast<float>(from(now_, time)) / static_cast<float>(steps_[now_]);
        const double rounded = quotient >= 0 ? double{quotient} + 0.5 : double{quotient} - 0.5;
        // Other encoders convert to 32 bits; what does not fit becomes the least integer there.
        if (rounded >= 2147483648.0 || rounded <= -static_cast<double>(LeastMultiple)) return FarBackwards;
        const auto steps = static_cast<std::int32_t>(rounded);
        if (steps >= 0) return std::min(static_cast<std::uint32_t>(steps), LargestMultiple);
        return Backwards + static_cast<std::uint32_t>(-steps);
    }

    std::array<std::int64_t, 4> times_; // the last one of each sequence
    std::array<std::int32_t, 4> steps_{}, unusual_{};
    std::size_t now_ = 0, newest_ = 0;
    typename Coder::template Model<6 - Layered> firstSteps_;
    typename Coder::template Model<516 - Layered> multiples_;
    IntegerCoder<Coder, 32, 9> differences_;
};

/// Item of formats 1, 3, 4 and 5, version 2.
template <class Coder>
class GpsTimeItem {
public:
    static constexpr std::size_t Size = sizeof(std::int64_t);

    explicit GpsTimeItem(const std::byte* first) : sequences_(get<std::int64_t>(first)) {}

    void code(Coder& coder, typename Coder::Byte* item) {
        const std::int64_t time = sequences_.code(coder, Coder::Encodes ? get<std::int64_t>(item) : 0);
        if constexpr (!Coder::Encodes) put(item, time);
    }

private:
    GpsTime<Coder, false> sequences_;
};

/// Version 1, of early files: one sequence.
template <class Coder>
class GpsTimeVersion1 {
public:
    static constexpr std::size_t Size = sizeof(std::int64_t);

    explicit GpsTimeVersion1(const std::byte* first) : time_(get<std::int64_t>(first)) {}

    void code(Coder& coder, typename Coder::Byte* item) {
        const std::int64_t time = Coder::Encodes ? get<std::int64_t>(item) : 0;
        step_ == 0 ? codeFirstStep(coder, time) : codeMultiple(coder, time);
        if constexpr (!Coder::Encodes) put(item, time_);
    }

private:
    static constexpr std::uint32_t MostSteps = 509, WholeTime = 510, Unchanged = 511;

    void codeFirstStep(Coder& coder, std::int64_t time) {
        std::uint32_t symbol = 0;
        if constexpr (Coder::Encodes) symbol = time == time_ ? 0 : near(time) ? 1 : 2;
        firstSteps_.ensure();
        symbol = coder.symbol(firstSteps_, symbol);
        if (symbol == 1) {
            step_ = differences_.code(coder, 0, 0, difference(time));
            advance(step_);
        } else if (symbol == 2)
            codeWhole(coder, time);
    }

    void codeMultiple(Coder& coder, std::int64_t time) {
        std::uint32_t symbol = 0;
        if constexpr (Coder::Encodes) symbol = multipleFor(time);
        multiples_.ensure();
        symbol = coder.symbol(multiples_, symbol);
        if (symbol == WholeTime) return codeWhole(coder, time);
        if (symbol == Unchanged) return;
        const std::int32_t prediction = symbol == 0 ? step_ / 4 : times(static_cast<std::int32_t>(symbol), step_);
        const std::uint32_t context = symbol == 0 ? 2 : symbol == 1 ? 1 : symbol < 10 ? 3 : symbol < 50 ? 4 : 5;
        const std::int32_t taken = differences_.code(coder, prediction, context, difference(time));
        advance(taken);
        if (symbol == 1) {
            step_ = taken;
            unusual_ = 0;
        } else if ((symbol == 0 || symbol == MostSteps) && ++unusual_ > 3) {
            step_ = taken;
            unusual_ = 0;
        }
    }

    void codeWhole(Coder& coder, std::int64_t time) {
        const std::uint32_t lower = coder.raw(32, static_cast<std::uint32_t>(time));
        const std::uint32_t upper = coder.raw(32, static_cast<std::uint32_t>(time >> 32));
        time_ = static_cast<std::int64_t>(std::uint64_t{upper} << 32 | lower);
    }

    std::uint32_t multipleFor(std::int64_t time) const {
        if (time == time_) return Unchanged;
        if (!near(time)) return WholeTime;
        const float steps = static_cast<float>(difference(time)) / static_cast<float>(step_) + 0.5F;
        return steps >= float{MostSteps} ? MostSteps : steps <= 0 ? 0 : static_cast<std::uint32_t>(steps);
    }

    bool near(std::int64_t time) const {
        return static_cast<std::int64_t>(static_cast<std::uint64_t>(time) - static_cast<std::uint64_t>(time_)) ==
               difference(time);
    }
    std::int32_t difference(std::int64_t time) const {
        return static_cast<std::int32_t>(static_cast<std::uint64_t>(time) - static_cast<std::uint64_t>(time_));
    }
    void advance(std::int32_t step) {
        time_ = static_cast<std::int64_t>(static_cast<std::uint64_t>(time_) +
                                          static_cast<std::uint64_t>(std::int64_t{step}));
    }

    std::int64_t time_;
    std::int32_t step_ = 0, unusual_ = 0;
    typename Coder::template Model<3> firstSteps_;
    typename Coder::template Model<512> multiples_;
    IntegerCoder<Coder, 32, 6> differences_;
};

} // namespace laz
