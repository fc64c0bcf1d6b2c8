// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "laz/EntropyCoder.hpp"

#include <limits>

namespace laz {

/// Codes integers of so many bits as what they differ from a prediction: first how many bits the difference has, by a
/// model of the context, then the difference among those of that length. The upper eight bits of it have models, which
/// all contexts share; what lies below is as good as noise and is stored as it is.
template <class Coder, int Bits, std::size_t Contexts>
class IntegerCoder {
public:
    using Lengths = typename Coder::template Model<Bits + 1>; ///< what each context has of its own

    /// The integer, given when it is encoded. Predictions and integers wrap modulo 2^Bits; the result is
    /// sign-extended.
    std::int32_t code(Coder& coder, std::int32_t prediction, std::uint32_t context, std::int32_t real) {
        return code(coder, prediction, lengths_[context], real);
    }

    /// The same with a context that the caller keeps.
    std::int32_t code(Coder& coder, std::int32_t prediction, Lengths& context, std::int32_t real) {
        std::int32_t difference = 0;
        if constexpr (Coder::Encodes) difference = wrapped(static_cast<std::uint32_t>(real) - prediction);
        difference = codeDifference(coder, context, difference);
        return wrapped(static_cast<std::uint32_t>(prediction) + difference);
    }

    /// The number of bits of the last difference, whatever its context: others choose contexts by it.
    std::uint32_t bitsOfLast() const { return bitsOfLast_; }

private:
    static constexpr int ModelledBits = 8;
    static constexpr int LeastNoisy = ModelledBits + 1;

    static std::int32_t wrapped(std::uint32_t number) {
        if constexpr (Bits == 32) return static_cast<std::int32_t>(number);
        if constexpr (Bits == 16) return static_cast<std::int16_t>(number);
        if constexpr (Bits == 8) return static_cast<std::int8_t>(number);
    }

    /// Differences 0 and 1 have 0 bits; of k bits are those from 1 - 2^k to -2^(k-1) and from 2^(k-1) + 1 to 2^k.
    static std::uint32_t bitsOf(std::int32_t difference) {
        const auto magnitude =
            difference <= 0 ? 0 - static_cast<std::uint32_t>(difference) : static_cast<std::uint32_t>(difference) - 1;
        return static_cast<std::uint32_t>(std::bit_width(magnitude));
    }

    std::int32_t codeDifference(Coder& coder, Lengths& lengths, std::int32_t difference) {
        lengths.ensure(Bits + 1);
        const std::uint32_t bits = coder.symbol(lengths, bitsOf(difference));
        bitsOfLast_ = bits;
        if (bits == 0) return static_cast<std::int32_t>(coder.bit(zeroOrOne_, static_cast<std::uint32_t>(difference)));
        if (bits == 32) return std::numeric_limits<std::int32_t>::min(); // alone of its length

        const std::uint32_t span = std::uint32_t{1} << bits; // negative ones first
        std::uint32_t place = difference < 0 ? static_cast<std::uint32_t>(difference) + span - 1
                                             : static_cast<std::uint32_t>(difference) - 1;
        auto& places = places_[bits - 1];
        if (bits <= ModelledBits) {
            places.ensure(span);
            place = coder.symbol(places, place);
        } else {
            const int noise = static_cast<int>(bits) - ModelledBits;
            places.ensure();
            const std::uint32_t upper = coder.symbol(places, place >> noise);
            place = upper << noise | coder.raw(noise, place & ((std::uint32_t{1} << noise) - 1));
        }
        return static_cast<std::int32_t>(place >= span / 2 ? place + 1 : place - (span - 1));
    }

    std::array<Lengths, Contexts> lengths_;
    std::array<typename Coder::template Model<1 << ModelledBits>, Bits == 32 ? 31 : Bits> places_;
    BitModel zeroOrOne_;
    std::uint32_t bitsOfLast_ = 0;
};

} // namespace laz
