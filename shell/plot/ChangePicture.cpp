// SPDX-License-Identifier: Apache-2.0
// Before, after, and what differs.
#include "base/Failure.hpp"
#include "check/ClassNames.hpp"
#include "check/PointMatching.hpp"
#include "plot/Numbers.hpp"
#include "plot/PictureParts.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <fmt/format.h>

namespace corvane {
namespace {

/// Two values in a mark.
constexpr std::uint32_t markOfPair(std::uint32_t before, std::uint32_t after) { return before << 16 | after; }
constexpr std::uint32_t beforeOf(std::uint32_t mark) { return mark >> 16; }
constexpr std::uint32_t afterOf(std::uint32_t mark) { return mark & 0xFFFF; }

/// Points of both surveys in pairs, counted by the values that they had and have.
class PairFeed {
public:
    PairFeed(const LasFile& before, const LasFile& after, const Sight& sight, const Colouring& colouring,
             Kesh::LimitPtr limit, const Watch& watch)
        : before_(before),
          after_(after),
          sight_(sight),
          colouring_(colouring),
          limit_(std::move(limit)),
          watch_(watch) {}

    void operator()(const std::function<void(PicturePoints)>& draw) {
        counts_.clear();
        pairs_ = apart_ = 0;
        RecordColumns earlier(before_, limit_, colouring_.dimensions()),
            later(after_, nullptr, colouring_.dimensions());
        matching_ = matchPoints(before_, after_, watch_, [&](const RecordPairs& pairs) {
            earlier.take(pairs.before);
            later.take(pairs.after);
            compare(earlier, later);
            if (sight_.isProfile())
                earlier.narrow([&](std::uint32_t i) { return sight_.holds(earlier.positions()[i]); });
            draw(pick(earlier, later));
        });
        requirePairs();
    }

    /// By the mark of the pair.
    const ValueCounts& counts() const { return counts_; }
    const PointMatching& matching() const { return matching_; }

private:
    void compare(const RecordColumns& earlier, const RecordColumns& later) {
        const auto before = earlier.positions(), after = later.positions();
        pairs_ += before.size();
        const auto& unit = sight_.unit();
        for (std::size_t i = 0; i < before.size(); ++i) {
            const Sextant::PhysicalSpace::point move = glm::abs(after[i] - before[i]);
            apart_ += (move.x > 2 * unit.x) | (move.y > 2 * unit.y) | (move.z > 2 * unit.z);
        }
    }

    PicturePoints pick(const RecordColumns& earlier, const RecordColumns& later) {
        const auto was = earlier.numbers(0), is = later.numbers(0);
        PicturePoints points;
        std::vector<Sextant::PhysicalSpace::point> changed;
        points.all.marks.reserve(earlier.selected().size());
        std::uint64_t* count = nullptr;
        std::uint32_t counted = 0;
        for (const std::uint32_t i : earlier.selected()) {
            const auto before = static_cast<std::uint32_t>(was[i]), after = static_cast<std::uint32_t>(is[i]);
            const std::uint32_t mark = markOfPair(before, after);
            points.all.marks.push_back(mark);
            if (!count || mark != counted) count = &counts_[counted = mark]; // neighbours are mostly alike
            ++*count;
            if (before == after) continue;
            points.changed.marks.push_back(mark);
            changed.push_back(earlier.positions()[i]);
        }
        const auto positions = selectedOf(earlier);
        points.all.packed = pack(positions, sight_.unit());
        points.changed.packed = pack(changed, sight_.unit());
        points.sample = sampleOf(sight_, positions, 1);
        return points;
    }

    void requirePairs() const {
        const std::string files = fmt::format("{} and {}", before_.file->path(), after_.file->path());
        if (!matching_.comparable())
            throw Failure(fmt::format("{} do not hold the same points, so what changed cannot be drawn; draw each of "
                                      "them by itself.",
                                      files));
        if (apart_ > pairs_ / 2)
            throw Failure(fmt::format("{} hold their points in different orders: {} of {} are elsewhere. Sort both "
                                      "files alike, or draw each of them by itself.",
                                      files, apart_, pairs_));
    }

    const LasFile &before_, &after_;
    const Sight& sight_;
    const Colouring& colouring_;
    Kesh::LimitPtr limit_;
    Watch watch_;
    ValueCounts counts_;
    PointMatching matching_;
    std::uint64_t pairs_ = 0, apart_ = 0; // apart: elsewhere in the other survey
};

/// What is not grey on grey, and told apart by the colour-blind as far as that goes.
constexpr std::array<Colour, 8> Bright{0xffe6194b, 0xff0064ff, 0xffff9a00, 0xff9b00d3,
                                       0xff00a65a, 0xffff4fd8, 0xff00b7d8, 0xff8a5a00};
constexpr Colour OtherChanges = 0xff000000, Unchanged = 0xffd9d9d9;

/// The most frequent changes in their order, with their colours; what is not among them has that of the others.
struct Changes {
    explicit Changes(const ValueCounts& counts) {
        for (const auto& [mark, count] : counts)
            if (beforeOf(mark) != afterOf(mark)) ordered.emplace_back(mark, count);
        std::ranges::stable_sort(ordered, std::greater(), [](const auto& one) { return one.second; });
        for (std::size_t i = 0; i < std::min(ordered.size(), Bright.size()); ++i) colours[ordered[i].first] = Bright[i];
    }

    Colour colourOf(std::uint32_t mark) const {
        const auto found = colours.find(mark);
        return found == colours.end() ? OtherChanges : found->second;
    }

    std::vector<std::pair<std::uint32_t, std::uint64_t>> ordered;
    std::map<std::uint32_t, Colour> colours;
};

std::string signedThousands(std::int64_t number) {
    if (number == 0) return "";
    return (number < 0 ? "−" : "+") + withThousands(static_cast<std::uint64_t>(std::abs(number)));
}

Legend classesLegend(const Colouring& colouring, const ValueCounts& pairs, const Kesh::LabelSet& labels,
                     std::size_t most) {
    std::map<std::uint32_t, std::array<std::uint64_t, 2>> values;
    for (const auto& [mark, count] : pairs) {
        values[beforeOf(mark)][0] += count;
        values[afterOf(mark)][1] += count;
    }
    Legend legend;
    legend.title = colouring.title();
    legend.headings = {"before", "after", "change"};
    std::size_t left = values.size();
    for (const auto& [value, counts] : values) {
        if (legend.rows.size() + 1 >= most && left > 1) {
            legend.rows.push_back({0, fmt::format("and {} more", left), {"", "", ""}});
            break;
        }
        --left;
        legend.rows.push_back({valueColour(value, colouring.isClass(), labels),
                               valueName(value, labels),
                               {withThousands(counts[0]), withThousands(counts[1]),
                                signedThousands(static_cast<std::int64_t>(counts[1] - counts[0]))}});
    }
    return legend;
}

Legend changesLegend(const Changes& changes, const Kesh::LabelSet& labels, std::uint64_t total, std::size_t most) {
    Legend legend;
    legend.title = "Changes";
    legend.headings = {"points", ""};
    const std::size_t shown = std::min({changes.ordered.size(), Bright.size(), most > 2 ? most - 2 : most});
    std::uint64_t changed = 0, others = 0;
    for (std::size_t i = 0; i < changes.ordered.size(); ++i) {
        const auto& [mark, count] = changes.ordered[i];
        changed += count;
        if (i >= shown) {
            others += count;
            continue;
        }
        legend.rows.push_back(
            {changes.colourOf(mark),
             fmt::format("{} → {}", valueName(beforeOf(mark), labels), valueName(afterOf(mark), labels)),
             {withThousands(count), percentText(count, total)}});
    }
    if (others > 0)
        legend.rows.push_back({OtherChanges, "others", {withThousands(others), percentText(others, total)}});
    legend.rows.push_back(
        {Unchanged, "not changed", {withThousands(total - changed), percentText(total - changed, total)}});
    return legend;
}

/// Changed points over the others in grey.
Grid<Colour> changesImage(const Drawing& drawing, const Grid<Pixel>& pixels, const Changes& changes, int growth,
                          const Grid<float>* shade) {
    constexpr int rounds = 1; // so that a single point is seen
    Grid<Colour> image = coloured(
        pixels, [](std::uint32_t) { return Unchanged; }, Paper, shade);
    Grid<Pixel> changed = closed(drawing.changed, drawing.changedPoints, growth);
    grow(changed, rounds);
    for (std::size_t i = 0; i < image.cells.size(); ++i)
        if (changed.cells[i] != NoPoint) image.cells[i] = changes.colourOf(markOf(changed.cells[i]));
    return image;
}

std::string nameOf(const LasFile& las) { return std::filesystem::path(las.file->path()).filename().string(); }

} // namespace

DrawnPage pictureOfChanges(const Survey& before, const Survey& after, const PictureTask& task, const Watch& watch) {
    const LasFile las = before.edited(), changed = after.edited();
    const Colouring colouring(las, task.by);
    if (colouring.kind() != Colouring::Kind::Values || Colouring(changed, task.by).kind() != colouring.kind())
        throw UsageError(
            fmt::format("--by {}: only changes of whole numbers of 8 or 16 bits can be drawn; choose class, "
                        "return or another such field, or draw one survey.",
                        task.by));
    const Sight sight(las, task.profile);
    constexpr std::size_t rows = 10;
    PageLayout layout(
        {.profile = sight.isProfile(), .length = sight.length(), .panels = 3, .legendRows = rows, .size = task.size});
    const double unit = screenUnit(sight);
    PairFeed feed(las, changed, sight, colouring, task.limit, watch);
    const Drawing drawing =
        drawFitting([&](const auto& draw) { feed(draw); }, guessFor(las, sight, task.limit),
                    [&](const Extent& extent) { return layout.fit(sight.view(), extent, unit); }, task.memory);

    const Grid<Pixel> pixels = closed(drawing.all, drawing.points, growthFor(sight));
    const auto shaded = shadeOf(pixels, sight, layout);
    const Grid<float>* shade = shaded ? &*shaded : nullptr;
    const Changes changes(feed.counts());
    std::map<std::uint32_t, Colour> colours;
    for (const auto& [mark, count] : feed.counts())
        for (const std::uint32_t value : {beforeOf(mark), afterOf(mark)})
            colours[value] = valueColour(value, colouring.isClass(), task.labels);

    PicturePage page;
    page.title = fmt::format("{} → {}", nameOf(las), nameOf(changed));
    page.subtitles = {sightText(las, sight, colouring.name()),
                      fmt::format("{} of {} changed{}", withThousands(drawing.changedPoints),
                                  plural(drawing.points, "point"), regionText(task))};
    const Screen& screen = drawing.all.screen();
    const auto image = [&](auto valueOf) {
        return coloured(
            pixels, [&](std::uint32_t mark) { return colours.at(valueOf(mark)); }, Paper, shade);
    };
    page.panels.push_back(panelOf(screen, sight, image(beforeOf), "Before"));
    page.panels.push_back(panelOf(screen, sight, image(afterOf), "After"));
    page.panels.push_back(
        panelOf(screen, sight, changesImage(drawing, pixels, changes, growthFor(sight), shade), "Changes"));
    page.legends.push_back(classesLegend(colouring, feed.counts(), task.labels, layout.rowsFor(2)));
    page.legends.push_back(changesLegend(changes, task.labels, drawing.points, layout.rowsFor(2)));
    describeFrame(page, las, sight, layout, drawing);
    page.footnotes.back() += " What changed lies on top of everything else.";
    if (const PointMatching& matching = feed.matching(); matching.missing > 0)
        page.warning =
            fmt::format("{} that only {} has {} left out.", plural(matching.missing, "point"),
                        matching.kind == PointMatching::Kind::Dropped ? "the earlier survey" : "the later survey",
                        matching.missing == 1 ? "is" : "are");
    layout.place(page);
    return {std::move(page), drawing.points};
}

} // namespace corvane
