// SPDX-License-Identifier: Apache-2.0
#include "las/PointWriter.hpp"
#include "LasTestSupport.hpp"
#include "las/PointCodec.hpp"

#include <numeric>

namespace corvane::test {
namespace {

/// Survey of many points of format 1 whose bytes are all different, with bytes before and behind the points.
class EditedFile : public testing::Test {
protected:
    static constexpr std::uint64_t Points = 100'000; // some pieces of reading
    static constexpr std::size_t Stride = 28, Start = 227 + 54 + 7;

    EditedFile() {
        Survey survey(2, 1);
        survey.vlr("someone", 7, "payload").append(Points * Stride + 11).put<std::uint32_t>(107, Points);
        for (std::size_t i = Start; i < survey.size(); ++i) survey.put(i, static_cast<char>(i * 2654435761u >> 13));
        survey.write(in);
        las = LasFile::open(in);
    }

    template <class T>
    PointEdit edit(const char* dimension, std::uint64_t first, const std::vector<T>& values) const {
        return {*las.find(dimension), first, std::as_bytes(std::span(values))};
    }

    std::string saved(const PointEdits& edits, const Watch& watch = {}) const {
        OutputFile output(out, true);
        PointWriter(las, output, watch).write(edits, {}, {});
        output.commit();
        return bytesOf(out);
    }

    const Folder folder;
    const std::string in = folder / "in.las", out = folder / "out.las";
    LasFile las;
};

TEST_F(EditedFile, hasTheBitsOfTheEditsAndAllOtherBytesAsTheyWere) {
    std::string expected = bytesOf(in);
    EXPECT_EQ(saved({}), expected);
    std::vector<std::uint8_t> classes(60'000), flags(60'000), single{31};
    std::vector<std::uint16_t> sources(60'000);
    for (std::size_t i = 0; i < classes.size(); ++i) {
        classes[i] = static_cast<std::uint8_t>(i % 32);
        flags[i] = static_cast<std::uint8_t>(i / 3 % 2);
        sources[i] = static_cast<std::uint16_t>(i + 7);
        char* record = &expected[Start + (30'000 + i) * Stride];
        record[15] = static_cast<char>((record[15] & 0x60) | classes[i] | flags[i] << 7);
        std::memcpy(record + 18, &sources[i], 2);
    }
    char& last = expected[Start + (Points - 1) * Stride + 15];
    last = static_cast<char>((last & 0xE0) | 31);
    const PointEdits edits({edit("Classification", Points - 1, single), edit("Classification", 30'000, classes),
                            edit("Withheld", 30'000, flags), edit("PointSourceId", 30'000, sources)},
                           nullptr);
    EXPECT_TRUE(saved(edits) == expected);

    const auto stretches = edits.stretches();
    ASSERT_EQ(stretches.size(), 2u);
    EXPECT_EQ(stretches[0].first + stretches[0].count, 90'000u);
    EXPECT_EQ(stretches[1].first, Points - 1);

    std::string read(Points * Stride, '\0'); // by pieces that begin and end within the edits
    const EditedPoints edited(las.points, edits);
    for (std::uint64_t first = 0; first < Points; first += 9'999) {
        const auto count = std::min<std::uint64_t>(9'999, Points - first);
        edited.read(first, std::as_writable_bytes(std::span(read).subspan(first * Stride, count * Stride)));
    }
    EXPECT_TRUE(read == expected.substr(Start, read.size()));
}

TEST_F(EditedFile, isNotWrittenWhenTheInputChangedOrSomebodyStopsIt) {
    const std::string wrote = messageOf<Failure>([&] {
        saved({}, Watch([&](auto&&...) {
                  std::ofstream(in, std::ios::app) << "more";
                  return true;
              }));
    });
    EXPECT_TRUE(holds(wrote, in + ": was changed while it was read")) << wrote;
    EXPECT_NE(messageOf<Interrupted>([&] { saved({}, Watch([](auto&&...) { return false; })); }), "");
    EXPECT_EQ(folder.contents().size(), 1u);
}

} // namespace
} // namespace corvane::test
