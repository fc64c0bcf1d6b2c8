// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>
#include <vector>

// The entropy coder: a range coder with carry whose models adapt to what they code.
//
// A stream is one number between 0 and 1, written to the base 256. Whoever codes a symbol narrows an interval to the
// part that belongs to the symbol, as large as the symbol is probable; as soon as the interval is shorter than 2^24
// units, the topmost bytes are settled and the rest is scaled up. The decoder follows the same steps and asks at each
// in which part the number lies. So both must come to the same models after the same symbols: each model counts, and
// makes its counts probabilities again after a while, in ever longer cycles.
//
// Encoder and Decoder have the same operations. Each takes the symbol and gives it back; the decoder ignores what it is
// given. So what stands above them is written once for both directions.

namespace laz {

inline constexpr std::uint32_t ShortestLength = std::uint32_t{1} << 24; ///< of an interval before it is scaled up
inline constexpr std::uint32_t ProofOfDamage = 0xFFFFFFFF; ///< no stream begins with a number as large as the interval

/// How probable 0 is, of the two values of a bit.
class BitModel {
public:
    /// The length of the part of 0 in an interval.
    std::uint32_t partOfZero(std::uint32_t length) const { return probability_ * (length >> Bits); }

    void count(std::uint32_t bit) {
        zeros_ += 1 - bit;
        if (--left_ == 0) update();
    }

private:
    static constexpr int Bits = 13; // of a probability
    static constexpr std::uint32_t MostCounted = 1u << Bits, LongestCycle = 64;

    void update() {
        total_ += cycle_;
        if (total_ > MostCounted) {
            total_ = (total_ + 1) >> 1;
            zeros_ = (zeros_ + 1) >> 1;
            if (zeros_ == total_) ++total_;
        }
        probability_ = (zeros_ * (0x80000000u / total_)) >> (31 - Bits);
        cycle_ = std::min((5 * cycle_) >> 2, LongestCycle);
        left_ = cycle_;
    }

    std::uint32_t zeros_ = 1, total_ = 2, probability_ = MostCounted / 2, cycle_ = 4, left_ = 4;
};

/// How probable each of up to `Largest` symbols is. A `Searched` model has a table that a decoder needs. It takes no
/// time until it is made, since most models of most chunks are never used.
template <std::size_t Largest, bool Searched>
class SymbolModel {
public:
    SymbolModel() = default;
    SymbolModel(const SymbolModel&) = default;
    SymbolModel& operator=(const SymbolModel&) = default;

    /// Makes it one of so many symbols, all as probable, unless that was done.
    void ensure(std::size_t symbols = Largest) {
        if (symbols_ == 0) [[unlikely]]
            make(static_cast<std::uint32_t>(symbols));
    }

    std::uint32_t last() const { return symbols_ - 1; }
    std::uint32_t low(std::uint32_t symbol) const { return low_[symbol]; }

    /// The symbol in whose part the quotient lies. The table names the first one of the quotient's range; the ranges
    /// are so many that few steps, mostly none, are left.
    std::uint32_t find(std::uint32_t quotient) const {
        std::uint32_t symbol = first_[quotient >> RangeShift];
        while (low_[symbol + 1] <= quotient) ++symbol;
        return symbol;
    }

    void count(std::uint32_t symbol) {
        ++count_[symbol];
        if (--left_ == 0) [[unlikely]]
            update();
    }

private:
    static constexpr int Bits = 15; // of a probability
    static constexpr std::uint32_t MostCounted = 1u << Bits;
    static constexpr std::size_t Ranges = std::clamp<std::size_t>(std::bit_ceil(Largest), 16, 256);
    static constexpr int RangeShift = Bits - std::countr_zero(Ranges);
    static constexpr std::uint16_t BeyondAll = 0xFFFF; // no quotient is as large

    [[gnu::noinline]] void make(std::uint32_t symbols) {
        symbols_ = symbols;
        std::fill_n(count_.begin(), symbols, std::uint16_t{1});
        total_ = symbols;
        tabulate();
        left_ = cycle_ = (symbols + 6) >> 1;
    }

    [[gnu::noinline]] void update() {
        total_ += cycle_;
        if (total_ > MostCounted) {
            total_ = 0;
            for (std::uint32_t symbol = 0; symbol < symbols_; ++symbol) {
                count_[symbol] = static_cast<std::uint16_t>((count_[symbol] + 1) >> 1);
                total_ += count_[symbol];
            }
        }
        tabulate();
        left_ = cycle_ = std::min((5 * cycle_) >> 2, 8 * (symbols_ + 6));
    }

    void tabulate() {
        const std::uint32_t scale = 0x80000000u / total_;
        std::uint32_t sum = 0;
        for (std::uint32_t symbol = 0; symbol < symbols_; ++symbol) {
            low_[symbol] = static_cast<std::uint16_t>((scale * sum) >> (31 - Bits));
            sum += count_[symbol];
        }
        low_[symbols_] = BeyondAll;
        if constexpr (Searched) {
            std::size_t range = 0;
            for (std::uint32_t symbol = 0; symbol < symbols_; ++symbol)
                for (; range < first_.size() && (range << RangeShift) < low_[symbol + 1]; ++range)
                    first_[range] = static_cast<std::uint16_t>(symbol);
        }
    }

    struct Nothing {};
    // What the last symbol gains by the shift lets a quotient exceed 2^15 a little: one range more.
    using Table = std::array<std::uint16_t, Ranges + 1>;

    std::uint32_t symbols_ = 0; // 0 until it is made
    std::uint32_t total_, cycle_, left_;
    std::array<std::uint16_t, Largest + 1> low_; // where the parts begin, in 2^-15 of the interval
    std::array<std::uint16_t, Largest> count_;
    [[no_unique_address]] std::conditional_t<Searched, Table, Nothing> first_;
};

/// Writes a stream, whose bytes grow behind `bytes`, which must outlive it and be left alone until `finish`.
class Encoder {
public:
    static constexpr bool Encodes = true;
    using Byte = const std::byte; ///< of a record
    template <std::size_t Largest>
    using Model = SymbolModel<Largest, false>;

    explicit Encoder(std::vector<std::byte>& bytes) : bytes_(&bytes), used_(bytes.size()) {}

    std::uint32_t bit(BitModel& model, std::uint32_t value) {
        const std::uint32_t part = model.partOfZero(length_);
        if (value != 0) {
            add(part);
            length_ -= part;
        } else
            length_ = part;
        scaleUp();
        model.count(value);
        return value;
    }

    template <std::size_t Largest>
    std::uint32_t symbol(Model<Largest>& model, std::uint32_t value) {
        const std::uint32_t unit = length_ >> 15;
        const std::uint32_t low = model.low(value) * unit;
        add(low);
        length_ = (value == model.last() ? length_ : model.low(value + 1) * unit) - low;
        scaleUp();
        model.count(value);
        return value;
    }

    /// So many bits, 1 to 32, all as probable.
    std::uint32_t raw(int bits, std::uint32_t value) {
        if (bits > MostRawBits) {
            raw(16, value & 0xFFFF);
            raw(bits - 16, value >> 16);
            return value;
        }
        length_ >>= bits;
        add(value * length_);
        scaleUp();
        return value;
    }

    /// Ends the stream: with so many bytes that a decoder, which reads four ahead, has used it up exactly.
    void finish() {
        if (length_ > 2 * ShortestLength) {
            add(ShortestLength);
            length_ = ShortestLength >> 1;
            scaleUp();
            put(3);
        } else {
            add(ShortestLength >> 1);
            length_ = ShortestLength >> 9;
            scaleUp();
            put(2);
        }
        bytes_->resize(used_);
    }

    static constexpr int MostRawBits = 19; ///< at once

private:
    void add(std::uint32_t part) {
        base_ += part;
        if (base_ < part) [[unlikely]]
            carry();
    }

    [[gnu::noinline]] void carry() {
        std::byte* last = bytes_->data() + used_;
        while (*--last == std::byte{0xFF}) *last = std::byte{0};
        *last = std::byte(std::to_integer<unsigned>(*last) + 1);
    }

    /// Settles the topmost bytes that a length below 2^24 leaves no doubt about.
    void scaleUp() {
        const int settled = std::countl_zero(length_) >> 3;
        if (bytes_->size() - used_ < sizeof base_) [[unlikely]]
            grow();
        const std::uint32_t topmostFirst = __builtin_bswap32(base_);
        std::memcpy(bytes_->data() + used_, &topmostFirst, sizeof topmostFirst);
        used_ += static_cast<std::size_t>(settled);
        base_ = static_cast<std::uint32_t>(std::uint64_t{base_} << (8 * settled));
        length_ <<= 8 * settled;
    }

    [[gnu::noinline]] void grow() { bytes_->resize(std::max<std::size_t>(2 * bytes_->size(), used_ + 1024)); }

    void put(std::size_t zeros) {
        bytes_->resize(used_);
        bytes_->resize(used_ += zeros);
    }

    std::vector<std::byte>* bytes_;
    std::size_t used_; // of the bytes; what stands behind is room
    std::uint32_t base_ = 0, length_ = 0xFFFFFFFF;
};

/// Reads a stream out of a window on its bytes. Whatever the bytes are, it stays within them and its models: a stream
/// that is cut off goes on with zeros, and `damaged` tells. Copies are independent of each other; a loop works on a
/// copy, which the compiler can keep in registers.
class Decoder {
public:
    static constexpr bool Encodes = false;
    using Byte = std::byte;
    template <std::size_t Largest>
    using Model = SymbolModel<Largest, true>;

    /// Begins the stream at the start of the window, which must outlive it or its next window.
    void start(std::span<const std::byte> window) {
        setWindow(window);
        damaged_ = false;
        length_ = 1; // takes all four bytes of the value
        value_ = 0;
        scaleUp();
        const std::uint32_t next = static_cast<std::uint32_t>(left() > 0 ? std::to_integer<unsigned>(*at_) : 0);
        damaged_ = damaged_ || left() == 0;
        if (left() > 0) ++at_;
        value_ = value_ << 8 | next;
        length_ = 0xFFFFFFFF;
        if (value_ == ProofOfDamage) fail();
    }

    /// Goes on in another window, which begins with the bytes that are left of this one.
    void setWindow(std::span<const std::byte> window) {
        at_ = window.data();
        end_ = window.data() + window.size();
    }

    /// Bytes of the window that were not used.
    std::size_t left() const { return static_cast<std::size_t>(end_ - at_); }

    /// Whether something was met that no encoder writes, or the bytes came to an end before the symbols did.
    bool damaged() const { return damaged_; }

    /// Notes damage that only those who know what the symbols mean can see.
    void fail() {
        damaged_ = true;
        value_ = 0;
    }

    std::uint32_t bit(BitModel& model, std::uint32_t = 0) {
        const std::uint32_t part = model.partOfZero(length_);
        const std::uint32_t value = value_ >= part;
        if (value != 0) {
            value_ -= part;
            length_ -= part;
        } else
            length_ = part;
        scaleUp();
        model.count(value);
        return value;
    }

    template <std::size_t Largest>
    std::uint32_t symbol(Model<Largest>& model, std::uint32_t = 0) {
        const std::uint32_t unit = length_ >> 15;
        const std::uint32_t value = model.find(value_ / unit);
        const std::uint32_t low = model.low(value) * unit;
        const std::uint32_t high = value == model.last() ? length_ : model.low(value + 1) * unit;
        value_ -= low;
        length_ = high - low;
        scaleUp();
        model.count(value);
        return value;
    }

    std::uint32_t raw(int bits, std::uint32_t = 0) {
        if (bits > Encoder::MostRawBits) {
            const std::uint32_t low = raw(16);
            return raw(bits - 16) << 16 | low;
        }
        length_ >>= bits;
        const std::uint32_t value = value_ / length_;
        const bool possible = value >> bits == 0; // what the shift cut off belongs to no value
        value_ -= value * length_;
        if (!possible) [[unlikely]]
            fail();
        scaleUp();
        return possible ? value : 0;
    }

private:
    /// Takes as many bytes as a length below 2^24 has used up: none, one, two or three, without a branch.
    [[gnu::always_inline]] void scaleUp() {
        const int used = std::countl_zero(length_) >> 3;
        if (left() < sizeof value_) [[unlikely]]
            return scaleUpAtEnd(used);
        std::uint32_t next;
        std::memcpy(&next, at_, sizeof next);
        const std::uint64_t ahead = std::uint64_t{value_} << 32 | __builtin_bswap32(next);
        value_ = static_cast<std::uint32_t>((ahead << (8 * used)) >> 32);
        length_ <<= 8 * used;
        at_ += used;
    }

    [[gnu::noinline]] void scaleUpAtEnd(int used) {
        for (; used > 0; --used) {
            if (at_ == end_) damaged_ = true;
            value_ = value_ << 8 | (at_ == end_ ? 0 : std::to_integer<std::uint32_t>(*at_++));
            length_ <<= 8;
        }
    }

    const std::byte* at_ = nullptr;
    const std::byte* end_ = nullptr;
    std::uint32_t value_ = 0, length_ = 0xFFFFFFFF; // value_ < length_, always
    bool damaged_ = false;
};

} // namespace laz
