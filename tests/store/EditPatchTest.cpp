// SPDX-License-Identifier: Apache-2.0
#include "store/EditPatch.hpp"
#include "../support/Files.hpp"
#include "../support/Messages.hpp"
#include "RandomValues.hpp"
#include "base/Failure.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <gtest/gtest.h>

namespace corvane::test {
namespace {

using Direction = FragmentChange::Direction;

/// The values of one field in a whole survey, before and after edits.
struct Field {
    Field(const char* called, Dice& dice, std::size_t points, int bytes)
        : name(called),
          width(bytes),
          before(randomValues(dice, points, bytes)),
          after(randomlyChanged(dice, before, bytes)) {}

    std::span<const std::byte> part(const Values& values, std::uint64_t first, std::uint32_t count) const {
        return std::span(values).subspan(std::size_t(first) * std::size_t(width), count * std::size_t(width));
    }

    std::string name;
    int width;
    Values before, after;
};

/// Calls `use(first, count)` for fragments of random sizes that make up the survey.
template <class Use>
void forFragments(Dice& dice, std::uint64_t points, Use use) {
    for (std::uint64_t first = 0; first < points;) {
        const auto count = static_cast<std::uint32_t>(
            std::min<std::uint64_t>(points - first, 1 + dice.below(dice.oneIn(3) ? 200000 : 2000)));
        use(first, count);
        first += count;
    }
}

void writePatch(Dice& dice, const std::string& path, std::uint64_t points, const std::vector<Field>& fields) {
    PatchWriter writer(path, points, true);
    for (const Field& field : fields) {
        writer.beginField(field.name, field.width);
        forFragments(dice, points, [&](std::uint64_t first, std::uint32_t count) {
            const auto change = FragmentChange::between(field.width, field.part(field.before, first, count),
                                                        field.part(field.after, first, count));
            if (!change.empty() || dice.oneIn(2)) writer.add(first, change);
        });
    }
    writer.commit();
}

/// What the patch makes of values; empty when it refuses them.
Values patched(Dice& dice, const EditPatch& patch, std::size_t number, const Field& field, Values values,
               Direction direction) {
    bool fits = true;
    forFragments(dice, patch.points(), [&](std::uint64_t first, std::uint32_t count) {
        const auto change = patch.change(number, first, count);
        const auto place =
            std::span(values).subspan(std::size_t(first) * std::size_t(field.width), count * std::size_t(field.width));
        fits = fits && !(change && change->apply(place, direction));
    });
    return fits ? values : Values();
}

TEST(EditPatch, fitsWhateverFragmentsASurveyHas) {
    const Folder folder;
    Dice dice(1);
    for (const std::size_t points : {1, 65535, 65536, 65537, 400000}) {
        SCOPED_TRACE(points);
        const std::vector<Field> fields = {{"Classification", dice, points, 1}, {"PointSourceId", dice, points, 2}};
        writePatch(dice, folder / "a.patch", points, fields);
        const EditPatch patch(folder / "a.patch");
        ASSERT_EQ(patch.points(), points);
        ASSERT_EQ(patch.fields().size(), 2u);
        for (std::size_t i = 0; i < fields.size(); ++i) {
            const Field& field = fields[i];
            EXPECT_EQ(patch.fields()[i].name, field.name);
            EXPECT_EQ(patch.fields()[i].width, field.width);
            EXPECT_EQ(patched(dice, patch, i, field, field.before, Direction::Forward), field.after);
            EXPECT_EQ(patched(dice, patch, i, field, field.after, Direction::Backward), field.before);
            const Values zeros(field.before.size(), std::byte{0xFE});
            EXPECT_EQ(patched(dice, patch, i, field, zeros, Direction::Forward).empty(), patch.fields()[i].changed > 0);
        }
    }
}

TEST(EditPatch, holdsWhatChangedAndLittleMore) {
    const Folder folder;
    PatchWriter writer(folder / "a.patch", 1'500'000'000, false);
    writer.beginField("Classification", 1);
    const Values before(1000, std::byte{2}), after(1000, std::byte{6});
    writer.add(1'400'000'000, FragmentChange::between(1, before, after));
    writer.commit();
    EXPECT_LT(bytesOf(folder / "a.patch").size(), 100u);
    const EditPatch patch(folder / "a.patch");
    EXPECT_EQ(patch.fields()[0].changed, 1000u);
    EXPECT_FALSE(patch.change(0, 0, 1'000'000));
    const auto change = patch.change(0, 1'399'999'999, 1'000'000);
    ASSERT_TRUE(change);
    EXPECT_EQ(change->runs(), (std::vector<FragmentChange::Run>{{1, 1000}}));
}

/// Opening it must end in a sentence that names the file.
void expectRefused(const std::string& path, const std::string& bytes) {
    write(path, bytes);
    const std::string message = messageOf<Failure>([&] { EditPatch patch(path); });
    EXPECT_TRUE(message.starts_with(path + ": ") && message.ends_with(".")) << message;
}

TEST(EditPatch, noticesEveryFlippedAndMissingByte) {
    const Folder folder;
    Dice dice(2);
    const std::vector<Field> fields = {{"Classification", dice, 200, 1}, {"PointSourceId", dice, 200, 2}};
    writePatch(dice, folder / "a.patch", 200, fields);
    const std::string bytes = bytesOf(folder / "a.patch");
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        SCOPED_TRACE(i);
        expectRefused(folder / "b.patch", bytes.substr(0, i));
        std::string flipped = bytes;
        flipped[i] = char(flipped[i] ^ (1 + dice.below(255)));
        expectRefused(folder / "b.patch", flipped);
    }
    expectRefused(folder / "b.patch", bytes + "x");
}

TEST(EditPatch, noticesWhenItChangesAfterOpening) {
    const Folder folder;
    Dice dice(3);
    const std::vector<Field> fields = {{"Classification", dice, 200, 1}};
    writePatch(dice, folder / "a.patch", 200, fields);
    const EditPatch patch(folder / "a.patch");
    std::filesystem::resize_file(folder / "a.patch", 10);
    EXPECT_THROW(patch.change(0, 0, 200), Failure);
}

} // namespace
} // namespace corvane::test
