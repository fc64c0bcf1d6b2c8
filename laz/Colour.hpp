// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "laz/IntegerCoder.hpp"
#include "laz/Record.hpp"

namespace laz {

/// Red, green and blue, 16 bits each, as they lie in the record.
struct ColourRecord {
    std::array<std::uint16_t, 3> channels{};

    bool operator==(const ColourRecord&) const = default;
    bool grey() const { return channels[0] == channels[1] && channels[0] == channels[2]; }

    /// Bytes: the lower one of red, its upper one, the lower one of green ...
    std::uint8_t byte(std::size_t i) const { return static_cast<std::uint8_t>(channels[i / 2] >> (8 * (i % 2))); }
    void setByte(std::size_t i, std::uint32_t value) {
        const unsigned shift = 8 * (i % 2);
        channels[i / 2] = static_cast<std::uint16_t>((channels[i / 2] & ~(0xFFu << shift)) | (value & 0xFF) << shift);
    }
};
static_assert(sizeof(ColourRecord) == 6);

/// Which bytes differ from those of another colour: bits of a symbol.
inline std::uint32_t differingBytes(const ColourRecord& a, const ColourRecord& b) {
    std::uint32_t differing = 0;
    for (std::size_t i = 0; i < sizeof(ColourRecord); ++i) differing |= std::uint32_t{a.byte(i) != b.byte(i)} << i;
    return differing;
}

/// Version 2, and the layer of formats 7, 8 and 10. Colours are mostly grey or change alike: green is predicted by the
/// step of red, blue by the mean of both steps, lower and upper bytes apart.
template <class Coder>
class ColourModels {
public:
    ColourRecord code(Coder& coder, const ColourRecord& last, const ColourRecord& real) {
        std::uint32_t used = 0;
        if constexpr (Coder::Encodes) used = differingBytes(real, last) | std::uint32_t{!real.grey()} << 6;
        used_.ensure();
        used = coder.symbol(used_, used);
        ColourRecord now = last;
        const auto byte = [&](std::size_t i, int prediction) {
            if (used >> i & 1) now.setByte(i, codeByte(coder, i, prediction, real));
        };
        byte(0, last.byte(0));
        byte(1, last.byte(1));
        if ((used >> 6 & 1) == 0) return {{now.channels[0], now.channels[0], now.channels[0]}};
        for (const std::size_t half : {0u, 1u}) {
            const auto step = [&](std::size_t i) { return now.byte(i) - last.byte(i); };
            const std::size_t red = half, green = half + 2, blue = half + 4;
            byte(green, std::clamp(last.byte(green) + step(red), 0, 255));
            byte(blue, std::clamp(last.byte(blue) + (step(red) + step(green)) / 2, 0, 255));
        }
        return now;
    }

private:
    std::uint32_t codeByte(Coder& coder, std::size_t i, int prediction, const ColourRecord& real) {
        auto& model = bytes_[i];
        model.ensure();
        const auto step = static_cast<std::uint8_t>(real.byte(i) - prediction);
        return static_cast<std::uint32_t>(prediction) + coder.symbol(model, step);
    }

    typename Coder::template Model<128> used_;
    std::array<typename Coder::template Model<256>, sizeof(ColourRecord)> bytes_;
};

/// Item of formats 2, 3 and 5, version 2.
template <class Coder>
class ColourItem {
public:
    static constexpr std::size_t Size = sizeof(ColourRecord);

    explicit ColourItem(const std::byte* first) : last_(get<ColourRecord>(first)) {}

    void code(Coder& coder, typename Coder::Byte* item) {
        last_ = models_.code(coder, last_, Coder::Encodes ? get<ColourRecord>(item) : ColourRecord{});
        if constexpr (!Coder::Encodes) put(item, last_);
    }

private:
    ColourRecord last_;
    ColourModels<Coder> models_;
};

/// Version 1, of early files: each byte by what it was.
template <class Coder>
class ColourVersion1 {
public:
    static constexpr std::size_t Size = sizeof(ColourRecord);

    explicit ColourVersion1(const std::byte* first) : last_(get<ColourRecord>(first)) {}

    void code(Coder& coder, typename Coder::Byte* item) {
        const auto real = Coder::Encodes ? get<ColourRecord>(item) : ColourRecord{};
        std::uint32_t used = 0;
        if constexpr (Coder::Encodes) used = differingBytes(real, last_);
        used_.ensure();
        used = coder.symbol(used_, used);
        for (std::uint32_t i = 0; i < Size; ++i)
            if (used >> i & 1)
                last_.setByte(i, static_cast<std::uint32_t>(bytes_.code(coder, last_.byte(i), i, real.byte(i))));
        if constexpr (!Coder::Encodes) put(item, last_);
    }

private:
    ColourRecord last_;
    typename Coder::template Model<64> used_;
    IntegerCoder<Coder, 8, 6> bytes_;
};

/// The layer of red, green and blue.
template <class Coder>
struct ColourLayer {
    using Value = ColourRecord;

    explicit ColourLayer(const Value&) {}
    static Value load(const std::byte* item) { return get<Value>(item); }
    static void store(std::byte* item, const Value& value) { put(item, value); }

    /// A constant colour makes a layer, too, unless it is grey.
    static bool tells(const Value& last, const Value& now) { return now != last || !now.grey(); }

    template <class Note>
    Value code(Coder& coder, const Value& last, const Value& now, const Note&) {
        return models_.code(coder, last, now);
    }

private:
    ColourModels<Coder> models_;
};

} // namespace laz
