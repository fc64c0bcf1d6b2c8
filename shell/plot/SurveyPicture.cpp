// SPDX-License-Identifier: Apache-2.0
#include "plot/SurveyPicture.hpp"

#include "base/InOrder.hpp"
#include "las/Copc.hpp"
#include "picture/ColourRamp.hpp"
#include "plot/Numbers.hpp"
#include "plot/PictureParts.hpp"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <memory>

namespace corvane {
namespace {

/// More values than a legend can name are shown as numbers.
constexpr std::size_t MostValues = 32;

/// All points of a survey for a picture, read on all threads, and counted by value.
class SurveyFeed {
public:
    SurveyFeed(const LasFile& las, const Sight& sight, const Colouring& colouring, Kesh::LimitPtr limit,
               const Watch& watch)
        : las_(las), sight_(sight), colouring_(colouring), limit_(std::move(limit)), watch_(watch) {
        constexpr std::size_t points = 131072;
        ranges_ = las.points->ranges(points, las.copc ? PointReader::Joining::None : PointReader::Joining::Small);
        if (las.copc) std::erase_if(ranges_, [this](const PointRange& range) { return isElsewhere(range); });
    }

    void operator()(const std::function<void(PicturePoints)>& draw) {
        using Parts = std::vector<PicturePoints>;
        counts_.assign(colouring_.values(), 0);
        inOrder(
            ranges_.size(), [this](std::size_t i) { return std::make_unique<Parts>(read(ranges_[i])); },
            [&](std::size_t i, const std::unique_ptr<Parts>& parts) {
                watch_(i, ranges_.size(), "Drawing " + las_.file->path());
                for (PicturePoints& points : *parts) {
                    if (!counts_.empty())
                        for (const std::uint32_t value : points.all.marks) ++counts_[value];
                    draw(std::move(points));
                }
            });
    }

    ValueCounts counts() const {
        ValueCounts counts;
        for (std::uint32_t value = 0; value < counts_.size(); ++value)
            if (counts_[value] > 0) counts[value] = counts_[value];
        return counts;
    }

private:
    /// The points of an octree's node lie in its cube.
    bool isElsewhere(const PointRange& range) const {
        const auto& chunks = las_.compression()->chunks;
        const auto chunk = std::ranges::upper_bound(chunks, range.first, {}, &LazChunk::first) - 1;
        const auto node = las_.copc->nodeOfChunk[static_cast<std::size_t>(chunk - chunks.begin())];
        const Copc::Box cube = las_.copc->boxOf(las_.copc->entries[node]);
        const auto& unit = sight_.unit();
        const Sextant::BoundingBox box({cube.low[0] - unit.x, cube.low[1] - unit.y, cube.low[2] - unit.z},
                                       {cube.high[0] + unit.x, cube.high[1] + unit.y, cube.high[2] + unit.z});
        if (limit_ && limit_->partOf(box) == Kesh::BoxPart::None) return true;
        if (!sight_.isProfile()) return false;
        const Sextant::ScreenBox seen = projectBox(sight_.view(), box);
        return seen.maximum.x < 0 || seen.minimum.x > sight_.length() || seen.maximum.z < -1 || seen.minimum.z > 1;
    }

    std::vector<PicturePoints> read(const PointRange& range) const {
        PointPicker picker(las_, sight_, colouring_, limit_);
        const std::size_t stride = las_.points->recordLength();
        const std::size_t piece = std::min(las_.points->recordsIn(PointReader::CachedBytes), range.count);
        const auto buffer = std::make_unique_for_overwrite<std::byte[]>(piece * stride);
        const auto cursor = las_.points->from(range.first, picker.wanted());
        std::vector<PicturePoints> parts;
        for (std::size_t first = 0; first < range.count; first += piece) {
            const std::span records(buffer.get(), std::min(piece, range.count - first) * stride);
            cursor->next(records);
            parts.push_back(picker.pick(records));
        }
        return parts;
    }

    const LasFile& las_;
    const Sight& sight_;
    const Colouring& colouring_;
    Kesh::LimitPtr limit_;
    Watch watch_;
    std::vector<PointRange> ranges_;
    std::vector<std::uint64_t> counts_;
};

/// The numbers that are seen, without the lowest and the highest hundredth.
std::pair<double, double> rangeOf(const Grid<Pixel>& pixels, const Colouring& colouring) {
    std::vector<double> numbers;
    for (const Pixel pixel : pixels.cells)
        if (pixel != NoPoint)
            if (const double number = colouring.numberOf(markOf(pixel)); std::isfinite(number))
                numbers.push_back(number);
    if (numbers.empty()) return {0, 1};
    const std::size_t cut = numbers.size() / 100;
    const auto nth = [&](std::size_t n) {
        std::ranges::nth_element(numbers, numbers.begin() + static_cast<std::ptrdiff_t>(n));
        return numbers[n];
    };
    const double low = nth(cut), high = nth(numbers.size() - 1 - cut);
    return {low, high};
}

/// Colours of the marks, and the legend that says what they mean.
struct Meaning {
    std::function<Colour(std::uint32_t)> colourOf;
    Legend legend;
    std::string amount; ///< "in 5 classes"; empty: nothing to say
};

Meaning meaningOfValues(const Colouring& colouring, const ValueCounts& counts, const Kesh::LabelSet& labels,
                        std::size_t rows) {
    std::vector<Colour> colours(colouring.values());
    for (const auto& [value, count] : counts) colours[value] = valueColour(value, colouring.isClass(), labels);
    const std::string amount =
        colouring.isClass() ? plural(counts.size(), "class", "es") : plural(counts.size(), "value");
    return {[colours](std::uint32_t mark) { return colours[mark]; }, valueLegend(colouring, counts, labels, rows),
            " in " + amount};
}

Meaning meaningOfNumbers(const LasFile& las, const Colouring& colouring, const Grid<Pixel>& pixels) {
    const auto [low, high] = rangeOf(pixels, colouring);
    const Ramp ramp = colouring.name() == "intensity" ? Ramp::Greys : Ramp::Heights;
    const double range = high > low ? high - low : 1;
    const std::string title =
        colouring.name() == "height" ? fmt::format("Height, {}", unitName(las, true)) : colouring.title();
    return {[&colouring, ramp, low = low, range](std::uint32_t mark) {
                return rampColour(ramp, (colouring.numberOf(mark) - low) / range);
            },
            rampLegend(title, ramp, low, high > low ? high : low + 1, decimalsFor(range)), ""};
}

Meaning meaningOf(const LasFile& las, const Colouring& colouring, const Grid<Pixel>& pixels, const ValueCounts& counts,
                  const PictureTask& task, std::size_t rows) {
    if (colouring.kind() == Colouring::Kind::Colours) return {[](std::uint32_t mark) { return mark; }, {}, ""};
    if (colouring.kind() == Colouring::Kind::Values && (colouring.isClass() || counts.size() <= MostValues))
        return meaningOfValues(colouring, counts, task.labels, rows);
    return meaningOfNumbers(las, colouring, pixels);
}

} // namespace

DrawnPage pictureOf(const Survey& survey, const PictureTask& task, const Watch& watch) {
    const LasFile las = survey.edited();
    const Colouring colouring(las, task.by);
    const Sight sight(las, task.profile);
    PageLayout layout({.profile = sight.isProfile(),
                       .length = sight.length(),
                       .legend = colouring.kind() != Colouring::Kind::Colours,
                       .size = task.size});
    const double unit = screenUnit(sight);
    SurveyFeed feed(las, sight, colouring, task.limit, watch);
    const Drawing drawing =
        drawFitting([&](const auto& draw) { feed(draw); }, guessFor(las, sight, task.limit),
                    [&](const Extent& extent) { return layout.fit(sight.view(), extent, unit); }, task.memory);

    const Grid<Pixel> pixels = closed(drawing.all, drawing.points, growthFor(sight));
    const auto shade = colouring.kind() == Colouring::Kind::Colours ? std::nullopt : shadeOf(pixels, sight, layout);
    const Meaning meaning = meaningOf(las, colouring, pixels, feed.counts(), task, layout.rowsFor(1));
    PicturePage page;
    page.title = std::filesystem::path(las.file->path()).filename().string();
    page.subtitles = {sightText(las, sight, colouring.name()),
                      plural(drawing.points, "point") + meaning.amount + regionText(task)};
    page.panels.push_back(
        panelOf(drawing.all.screen(), sight, coloured(pixels, meaning.colourOf, Paper, shade ? &*shade : nullptr)));
    if (!meaning.legend.title.empty()) page.legends.push_back(meaning.legend);
    describeFrame(page, las, sight, layout, drawing);
    layout.place(page);
    return {std::move(page), drawing.points};
}

} // namespace corvane
