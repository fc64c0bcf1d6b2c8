// SPDX-License-Identifier: Apache-2.0
#include "plot/HistogramPlot.hpp"

#include "check/ClassNames.hpp"
#include "las/StandardClasses.hpp"
#include "plot/BarChart.hpp"
#include "plot/Numbers.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace corvane {
namespace {

using Kesh::VHistogram;

constexpr std::size_t ShownValues = 40;
constexpr Sextant::rgba_float_t PlainColour{0.36f, 0.49f, 0.63f, 1};

Sextant::rgba_float_t colourOf(int value) {
    const auto [red, green, blue] = classColour(value);
    return {red, green, blue, 1};
}

/// Whether any of the points with this value has a second quantity.
bool hasSummary(const VHistogram& histogram, std::size_t i) {
    return histogram.hasStatistics() && histogram.minimum[i] <= histogram.maximum[i];
}

/// Writes the second quantity of all values with equally many decimals: four digits of its range.
class Summaries {
public:
    explicit Summaries(const VHistogram& histogram) : histogram_(histogram) {
        double low = HUGE_VAL, high = -HUGE_VAL;
        for (std::size_t i = 0; i < histogram.size(); ++i) {
            if (!hasSummary(histogram, i)) continue;
            low = std::min(low, histogram.minimum[i]);
            high = std::max(high, histogram.maximum[i]);
            whole_ = whole_ && isWhole(histogram.minimum[i]) && isWhole(histogram.maximum[i]);
        }
        if (high > low) decimals_ = static_cast<int>(std::clamp(3 - std::floor(std::log10(high - low)), 0.0, 9.0));
    }

    std::string of(std::size_t i) const {
        if (!hasSummary(histogram_, i)) return {};
        const int decimals = whole_ ? 0 : decimals_;
        return fmt::format("{:.{}f} .. {:.{}f}, mean {:.{}f}", histogram_.minimum[i], decimals, histogram_.maximum[i],
                           decimals, histogram_.mean(i), decimals_);
    }

private:
    static bool isWhole(double number) { return number == std::floor(number); }

    const VHistogram& histogram_;
    bool whole_ = true;
    int decimals_ = 2;
};

/// Indices of the most frequent values, in the order of the values.
std::vector<std::size_t> shownValues(const VHistogram& histogram) {
    std::vector<std::size_t> shown(histogram.size());
    std::iota(shown.begin(), shown.end(), 0);
    if (shown.size() <= ShownValues) return shown;
    std::ranges::stable_sort(shown, std::greater(), [&](std::size_t i) { return histogram.counts[i]; });
    shown.resize(ShownValues);
    std::ranges::sort(shown);
    return shown;
}

/// Values that are no classes look all the same, unless somebody chose colours for them.
Bar barOf(const VHistogram& histogram, std::size_t i, std::uint64_t total, const Kesh::LabelSet& labels, bool isClass) {
    const int value = static_cast<int>(histogram.value(i));
    const Kesh::Label* label = labels.find(value);
    Bar bar{.label = std::to_string(value), .length = histogram.counts[i], .text = {}, .note = {}, .colour = {}};
    if (label && !label->name.empty()) bar.label += " " + label->name;
    if (label) bar.colour = label->colour;
    if (bar.colour == Sextant::rgba_float_t()) bar.colour = isClass ? colourOf(value) : PlainColour;
    bar.text = fmt::format("{} ({})", withThousands(bar.length), percentText(bar.length, total));
    return bar;
}

std::string footnoteAbout(const VHistogram& histogram, const std::vector<std::size_t>& shown, std::uint64_t total) {
    std::uint64_t rest = total;
    for (const std::size_t i : shown) rest -= histogram.counts[i];
    return fmt::format("Only the {} most frequent of {} values are shown. The others have {} ({}).", shown.size(),
                       withThousands(histogram.size()), plural(rest, "point"), percentText(rest, total));
}

std::string warningAbout(const VHistogram& histogram) {
    if (!histogram.isConsistent()) return "Nothing was counted.";
    return histogram.complete ? "" : "Incomplete: not all points could be counted.";
}

BarChart chartOf(const VHistogram& histogram, const Kesh::LabelSet& labels, const PlotTexts& texts) {
    const bool classes = texts.field == ClassificationName;
    const std::uint64_t total = histogram.total();
    BarChart chart;
    chart.title = texts.survey;
    chart.subtitles = {fmt::format("Points per {}, {}", classes ? "class" : "value of " + texts.field, texts.region),
                       plural(total, "point")};
    if (total > 0)
        chart.subtitles.back() +=
            " in " + (classes ? plural(histogram.size(), "class", "es") : plural(histogram.size(), "value"));
    if (total > 0 && histogram.hasStatistics())
        chart.subtitles.push_back(fmt::format("In grey: minimum .. maximum and mean of {}", histogram.secondaryName));
    chart.warning = warningAbout(histogram);
    const Summaries summaries(histogram);
    const std::vector<std::size_t> shown = shownValues(histogram);
    for (const std::size_t i : shown) {
        chart.bars.push_back(barOf(histogram, i, total, labels, classes));
        chart.bars.back().note = summaries.of(i);
    }
    if (shown.size() < histogram.size()) chart.footnote = footnoteAbout(histogram, shown, total);
    return chart;
}

} // namespace

std::vector<std::string> plotHistogram(const VHistogram& histogram, const Kesh::LabelSet& labels,
                                       const PlotTexts& texts, const std::string& path, bool overwrite) {
    std::string picture;
    const auto draw = reinterpret_cast<DrawFunction*>(drawingFunction(DrawEntry));
    draw(chartOf(histogram, labels, texts), formatOf(path), picture);
    return writePicture(picture, path, overwrite);
}

} // namespace corvane
