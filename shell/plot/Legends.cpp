// SPDX-License-Identifier: Apache-2.0
#include "plot/Legends.hpp"

#include "check/ClassNames.hpp"
#include "las/StandardClasses.hpp"
#include "plot/Numbers.hpp"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <numeric>

namespace corvane {
namespace {

/// For values that are no classes: neighbours are told apart.
constexpr std::array<Colour, 10> Distinct{0xff4477aa, 0xffee6677, 0xff228833, 0xffccbb44, 0xff66ccee,
                                          0xffaa3377, 0xffee7733, 0xff009988, 0xff994455, 0xff777777};

} // namespace

Colour valueColour(std::uint32_t value, bool isClass, const Kesh::LabelSet& labels) {
    const Kesh::Label* label = labels.find(static_cast<int>(value));
    if (label && label->colour != Sextant::rgba_float_t())
        return colourFrom(label->colour.r, label->colour.g, label->colour.b);
    if (!isClass) return Distinct[value % Distinct.size()];
    const auto [red, green, blue] = classColour(static_cast<int>(value));
    return colourFrom(red, green, blue);
}

std::string valueName(std::uint32_t value, const Kesh::LabelSet& labels) {
    const Kesh::Label* label = labels.find(static_cast<int>(value));
    return label && !label->name.empty() ? fmt::format("{} {}", value, label->name) : std::to_string(value);
}

Legend valueLegend(const Colouring& colouring, const ValueCounts& counts, const Kesh::LabelSet& labels,
                   std::size_t most) {
    std::vector<std::pair<std::uint32_t, std::uint64_t>> shown(counts.begin(), counts.end());
    std::uint64_t total = 0;
    for (const auto& [value, count] : shown) total += count;
    std::ranges::stable_sort(shown, std::greater(), [](const auto& one) { return one.second; });
    if (shown.size() > most) shown.resize(most - 1);
    std::ranges::sort(shown);
    Legend legend;
    legend.title = colouring.title();
    legend.headings = {"points", ""};
    std::uint64_t rest = total;
    for (const auto& [value, count] : shown) {
        legend.rows.push_back({valueColour(value, colouring.isClass(), labels),
                               valueName(value, labels),
                               {withThousands(count), percentText(count, total)}});
        rest -= count;
    }
    if (rest > 0) legend.rows.push_back({0, "others", {withThousands(rest), percentText(rest, total)}});
    legend.rows.push_back({0, "all", {withThousands(total), ""}, true});
    return legend;
}

Legend rampLegend(const std::string& title, Ramp ramp, double low, double high, int decimals) {
    constexpr int steps = 64, numbers = 5;
    Legend legend;
    legend.title = title;
    for (int i = 0; i < steps; ++i) legend.ramp.push_back(rampColour(ramp, i / double(steps - 1)));
    for (int i = 0; i < numbers; ++i)
        legend.rampNumbers.push_back(fmt::format("{:.{}f}", low + (high - low) * i / (numbers - 1), decimals));
    return legend;
}

} // namespace corvane
