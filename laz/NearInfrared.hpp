// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "laz/EntropyCoder.hpp"
#include "laz/Record.hpp"

namespace laz {

/// The layer of near infrared in formats 8 and 10: which of its two bytes changed, and by how much.
template <class Coder>
class NearInfraredLayer {
public:
    using Value = std::uint16_t;
    static constexpr std::size_t Place = 6; ///< in the item: behind the colours

    explicit NearInfraredLayer(Value) {}
    static Value load(const std::byte* item) { return get<Value>(item + Place); }
    static void store(std::byte* item, Value value) { put(item + Place, value); }
    static bool tells(Value last, Value now) { return now != last; }

    template <class Note>
    Value code(Coder& coder, Value last, Value now, const Note&) {
        std::uint32_t used = 0;
        if constexpr (Coder::Encodes)
            used = std::uint32_t{lower(now) != lower(last)} | std::uint32_t{upper(now) != upper(last)} << 1;
        used_.ensure();
        used = coder.symbol(used_, used);
        const std::uint32_t low = used & 1 ? byte(coder, bytes_[0], lower(last), lower(now)) : lower(last);
        const std::uint32_t high = used & 2 ? byte(coder, bytes_[1], upper(last), upper(now)) : upper(last);
        return static_cast<Value>(low | high << 8);
    }

private:
    using Bytes = typename Coder::template Model<256>;

    static std::uint32_t lower(Value value) { return value & 0xFFu; }
    static std::uint32_t upper(Value value) { return value >> 8; }

    static std::uint32_t byte(Coder& coder, Bytes& model, std::uint32_t last, std::uint32_t now) {
        model.ensure();
        return (last + coder.symbol(model, (now - last) & 0xFF)) & 0xFF;
    }

    typename Coder::template Model<4> used_;
    std::array<Bytes, 2> bytes_;
};

} // namespace laz
