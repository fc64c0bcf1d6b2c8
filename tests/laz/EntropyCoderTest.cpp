// SPDX-License-Identifier: Apache-2.0
#include "laz/IntegerCoder.hpp"

#include <gtest/gtest.h>
#include <memory>
#include <random>

namespace laz {
namespace {

/// A decoder at the start of the bytes.
Decoder decoderOf(std::span<const std::byte> bytes) {
    Decoder decoder;
    decoder.start(bytes);
    return decoder;
}

TEST(EntropyCoder, writesAnEmptyStreamAsOthersDo) {
    std::vector<std::byte> bytes;
    Encoder(bytes).finish();
    EXPECT_EQ(bytes, (std::vector{std::byte{1}, std::byte{0}, std::byte{0}, std::byte{0}}));
    const Decoder decoder = decoderOf(bytes);
    EXPECT_FALSE(decoder.damaged());
    EXPECT_EQ(decoder.left(), 0);
}

/// Symbols, bits, raw numbers and integers by turns, drawn so that some models learn much and others nothing; long
/// enough that every model halves its counts.
template <class Coder>
class Mixture {
public:
    explicit Mixture(unsigned seed) : random_(seed) {}

    /// What is coded, as it comes back.
    std::vector<std::uint32_t> code(Coder& coder, int rounds) {
        std::vector<std::uint32_t> values;
        for (int i = 0; i < rounds; ++i) {
            few_.ensure();
            many_.ensure();
            values.push_back(coder.symbol(few_, random_() % 100 == 0));
            values.push_back(coder.symbol(many_, std::min(511u, static_cast<std::uint32_t>(random_() % 10000) / 7)));
            values.push_back(coder.bit(bit_, random_() % 1000 == 0));
            const int bits = 1 + static_cast<int>(random_() % 32);
            values.push_back(coder.raw(bits, static_cast<std::uint32_t>(random_()) >> (32 - bits)));
            const auto integer = static_cast<std::int32_t>(random_() >> (random_() % 32));
            const std::int32_t all[] = {integer, -integer, std::numeric_limits<std::int32_t>::min()};
            for (const std::int32_t real : all)
                values.push_back(static_cast<std::uint32_t>(
                    words_.code(coder, 77 * i, static_cast<std::uint32_t>(random_() % 3), real)));
            values.push_back(
                static_cast<std::uint32_t>(shorts_.code(coder, -5, 0, static_cast<std::int16_t>(integer))));
            values.push_back(static_cast<std::uint32_t>(bytes_.code(coder, i, 0, static_cast<std::int8_t>(integer))));
        }
        return values;
    }

private:
    std::mt19937 random_;
    typename Coder::template Model<2> few_;
    typename Coder::template Model<512> many_;
    BitModel bit_;
    IntegerCoder<Coder, 32, 3> words_;
    IntegerCoder<Coder, 16, 1> shorts_;
    IntegerCoder<Coder, 8, 1> bytes_;
};

TEST(EntropyCoder, givesBackWhatWasCodedAndUsesTheStreamUp) {
    for (const int rounds : {1, 2, 50, 60000}) {
        std::vector<std::byte> bytes;
        Encoder encoder(bytes);
        const auto coded = std::make_unique<Mixture<Encoder>>(7)->code(encoder, rounds);
        encoder.finish();
        Decoder decoder = decoderOf(bytes);
        EXPECT_EQ(std::make_unique<Mixture<Decoder>>(7)->code(decoder, rounds), coded) << rounds;
        EXPECT_FALSE(decoder.damaged());
        EXPECT_EQ(decoder.left(), 0);
    }
}

TEST(EntropyCoder, carriesThroughLongRunsOfFullBytes) {
    // The symbol of the topmost part again and again leaves bytes of 0xFF, until one below it overflows into them all.
    for (int length = 1; length < 3000; length += 7) {
        std::vector<std::byte> bytes;
        Encoder encoder(bytes);
        for (int i = 0; i < length; ++i) encoder.raw(8, 255);
        encoder.raw(19, 0x7FFFF);
        BitModel bit;
        for (int i = 0; i < 40; ++i) encoder.bit(bit, 1);
        encoder.finish();
        Decoder decoder = decoderOf(bytes);
        for (int i = 0; i < length; ++i) ASSERT_EQ(decoder.raw(8), 255);
        ASSERT_EQ(decoder.raw(19), 0x7FFFF);
        BitModel again;
        for (int i = 0; i < 40; ++i) ASSERT_EQ(decoder.bit(again), 1);
        EXPECT_EQ(decoder.left(), 0);
    }
}

TEST(EntropyCoder, tellsStreamsThatAreCutOffOrImpossible) {
    std::vector<std::byte> bytes;
    Encoder encoder(bytes);
    std::make_unique<Mixture<Encoder>>(3)->code(encoder, 20);
    encoder.finish();
    for (std::size_t kept = 0; kept < bytes.size(); ++kept) {
        Decoder decoder = decoderOf(std::span(bytes).first(kept));
        std::make_unique<Mixture<Decoder>>(3)->code(decoder, 20);
        EXPECT_TRUE(decoder.damaged()) << kept;
    }
    EXPECT_TRUE(decoderOf(std::vector(8, std::byte{0xFF})).damaged());
}

TEST(EntropyCoder, staysWithinItsBytesAndModelsWhateverTheyAre) {
    std::mt19937 random(11);
    for (int i = 0; i < 300; ++i) {
        std::vector<std::byte> noise(random() % 500);
        for (auto& byte : noise) byte = std::byte(random());
        Decoder decoder = decoderOf(noise);
        std::make_unique<Mixture<Decoder>>(3)->code(decoder, 100);
        EXPECT_LE(decoder.left(), noise.size());
    }
}

} // namespace
} // namespace laz
