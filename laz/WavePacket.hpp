// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "laz/IntegerCoder.hpp"
#include "laz/Record.hpp"

namespace laz {

/// A reference to a waveform, 29 bytes without gaps in the record. The four numbers are those of the same bits as the
/// floats.
struct WavePacketRecord {
    static constexpr std::size_t Size = 29;

    std::uint8_t descriptor = 0;
    std::uint64_t offset = 0;
    std::uint32_t size = 0;
    std::array<std::int32_t, 4> floats{}; ///< place of the return, then the direction

    bool operator==(const WavePacketRecord&) const = default;

    static WavePacketRecord load(const std::byte* item) {
        return {get<std::uint8_t>(item), get<std::uint64_t>(item + 1), get<std::uint32_t>(item + 9),
                get<std::array<std::int32_t, 4>>(item + 13)};
    }
    void store(std::byte* item) const {
        put(item, descriptor);
        put(item + 1, offset);
        put(item + 9, size);
        put(item + 13, floats);
    }
};

/// Waveforms mostly lie one behind the other in their file: an offset is the last one, the end of the last waveform, a
/// step from the last one, or stands as it is.
template <class Coder>
class WavePacketModels {
public:
    WavePacketRecord code(Coder& coder, const WavePacketRecord& last, const WavePacketRecord& real) {
        WavePacketRecord now;
        descriptor_.ensure();
        now.descriptor = static_cast<std::uint8_t>(coder.symbol(descriptor_, real.descriptor));
        now.offset = codeOffset(coder, last, real.offset);
        now.size = static_cast<std::uint32_t>(
            size_.code(coder, static_cast<std::int32_t>(last.size), 0, static_cast<std::int32_t>(real.size)));
        now.floats[0] = place_.code(coder, last.floats[0], 0, real.floats[0]);
        for (std::uint32_t i = 0; i < 3; ++i)
            now.floats[i + 1] = direction_.code(coder, last.floats[i + 1], i, real.floats[i + 1]);
        return now;
    }

private:
    enum Offset : std::uint32_t { AsLast, BehindLast, Step, Whole };

    std::uint64_t codeOffset(Coder& coder, const WavePacketRecord& last, std::uint64_t offset) {
        const auto step = static_cast<std::int64_t>(offset - last.offset);
        const auto near = static_cast<std::int32_t>(step);
        if constexpr (Coder::Encodes) {
            const Offset chosen = near != step ? Whole : step == 0 ? AsLast : step == last.size ? BehindLast : Step;
            coder.symbol(madeKind(), chosen);
            kind_ = chosen;
        } else
            kind_ = coder.symbol(madeKind());
        if (kind_ == AsLast) return last.offset;
        if (kind_ == BehindLast) return last.offset + last.size;
        if (kind_ == Step) {
            step_ = steps_.code(coder, step_, 0, near);
            return last.offset + static_cast<std::uint64_t>(std::int64_t{step_});
        }
        const std::uint32_t lower = coder.raw(32, static_cast<std::uint32_t>(offset));
        const std::uint32_t upper = coder.raw(32, static_cast<std::uint32_t>(offset >> 32));
        return std::uint64_t{upper} << 32 | lower;
    }

    auto& madeKind() {
        kinds_[kind_].ensure();
        return kinds_[kind_];
    }

    std::uint32_t kind_ = AsLast; // of the last offset
    std::int32_t step_ = 0;
    typename Coder::template Model<256> descriptor_;
    std::array<typename Coder::template Model<4>, 4> kinds_;
    IntegerCoder<Coder, 32, 1> steps_, size_, place_;
    IntegerCoder<Coder, 32, 3> direction_;
};

/// Item of formats 4 and 5.
template <class Coder>
class WavePacketItem {
public:
    static constexpr std::size_t Size = WavePacketRecord::Size;

    explicit WavePacketItem(const std::byte* first) : last_(WavePacketRecord::load(first)) {}

    void code(Coder& coder, typename Coder::Byte* item) {
        last_ = models_.code(coder, last_, Coder::Encodes ? WavePacketRecord::load(item) : WavePacketRecord{});
        if constexpr (!Coder::Encodes) last_.store(item);
    }

private:
    WavePacketRecord last_;
    WavePacketModels<Coder> models_;
};

/// The layer of formats 9 and 10.
template <class Coder>
struct WavePacketLayer {
    using Value = WavePacketRecord;

    explicit WavePacketLayer(const Value&) {}
    static Value load(const std::byte* item) { return Value::load(item); }
    static void store(std::byte* item, const Value& value) { value.store(item); }
    static bool tells(const Value& last, const Value& now) { return now != last; }

    template <class Note>
    Value code(Coder& coder, const Value& last, const Value& now, const Note&) {
        return models_.code(coder, last, now);
    }

private:
    WavePacketModels<Coder> models_;
};

} // namespace laz
