// SPDX-License-Identifier: Apache-2.0
// What views are told: how points look, which of them are hidden, and what strokes are limited to.
#include "window/ClassColours.hpp"
#include "window/Wording.hpp"
#include "window/Workplace.hpp"

#include <tuple>

namespace corvane {
namespace {

constexpr int Ground = 2;
constexpr float FlashPart = 0.7F;

/// The column that a colouring needs beside the classes; empty: none.
std::string columnOf(const ViewColours& colours) {
    switch (colours.by) {
    case ColourBy::Intensity:
        return column::Intensity;
    case ColourBy::Return:
        return column::Return;
    case ColourBy::Rgb:
        return column::Rgb;
    case ColourBy::Field:
        return colours.field;
    case ColourBy::Class:
    case ColourBy::Height:
        break;
    }
    return {};
}

/// Whether points are coloured by where a number lies in a range.
bool usesRange(const ViewColours& colours) {
    return colours.by == ColourBy::Height || colours.by == ColourBy::Intensity || colours.by == ColourBy::Field;
}

} // namespace

SelectionRule Workplace::rule() const {
    SelectionRule rule;
    if (!choices_.from.empty()) rule.fromClasses = std::vector<int>(choices_.from.begin(), choices_.from.end());
    rule.hiddenClasses.assign(notShown_.classes.begin(), notShown_.classes.end());
    rule.hiddenReturns.assign(notShown_.returns.begin(), notShown_.returns.end());
    rule.heights = notShown_.heights;
    return rule;
}

Look Workplace::lookOf(int view) const {
    const ViewColours& colours = colours_[static_cast<std::size_t>(view)];
    Look look;
    look.by = colours.by;
    look.field = colours.field;
    look.palette = palette_;
    look.background = canvasColour(theme_).rgb();
    const auto range = ranges_.find(columnOf(colours));
    if (usesRange(colours) && range != ranges_.end()) look.range = range->second;
    look.ramp = colours.by == ColourBy::Intensity ? Ramp::Greys : Ramp::Heights;
    if (flash_ != Flash::None) {
        look.flashClass = assigned_;
        look.flash.part = FlashPart;
    }
    if (colours.surface && !grid_->view(view).camera().isProfile()) look.surface = {Ground};
    look.hidden.classes.resize(notShown_.classes.empty() ? 0 : LargestClass + 1);
    for (const int value : notShown_.classes) look.hidden.classes[static_cast<std::size_t>(value)] = 1;
    for (const int number : notShown_.returns)
        look.hidden.returns = static_cast<std::uint16_t>(look.hidden.returns | 1U << static_cast<unsigned>(number));
    if (notShown_.heights)
        std::tie(look.hidden.lowest, look.hidden.highest) = std::tie((*notShown_.heights)[0], (*notShown_.heights)[1]);
    if (!choices_.from.empty()) {
        look.previewClasses.resize(LargestClass + 1);
        for (const int value : choices_.from) look.previewClasses[static_cast<std::size_t>(value)] = 1;
    }
    return look;
}

std::set<std::string> Workplace::neededColumns() const {
    std::set<std::string> columns;
    for (int view = 0; view < ViewGrid::Views; ++view)
        if (const std::string name = columnOf(colours(view)); !name.empty() && grid_->isShown(view))
            columns.insert(name);
    if (!notShown_.returns.empty()) columns.insert(column::Return);
    return columns;
}

void Workplace::updateLooks(bool changed) {
    if (!isOpen()) return;
    scene_.need(neededColumns());
    grid_->forShown([&](View& view) {
        const ViewColours& coloured = colours(view.number());
        const std::string column = columnOf(coloured);
        if (usesRange(coloured) && !ranges_.contains(column))
            if (const auto range = scene_.range(column)) ranges_[column] = *range;
        view.setLook(lookOf(view.number()), changed);
        const bool plan = !view.camera().isProfile();
        view.setTitle(view.number() == ViewGrid::CrossProfile ? QStringLiteral("Profile across")
                      : plan                                  ? QStringLiteral("Plan")
                                                              : QStringLiteral("Profile"),
                      hiddenText(notShown_));
    });
}

} // namespace corvane
