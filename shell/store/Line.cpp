// SPDX-License-Identifier: Apache-2.0
#include "store/Line.hpp"

#include <algorithm>

namespace corvane {

std::optional<std::size_t> Line::placeOf(StepId version) const {
    const auto next = std::ranges::upper_bound(steps, version, {}, &Step::id);
    const auto place = static_cast<std::size_t>(next - steps.begin());
    if (place > 0 && steps[place - 1].id == version) return place;
    if (place == 0 && version <= folded) return 0;
    return std::nullopt;
}

std::vector<Line::Leg> Line::way(std::uint32_t fragment, std::size_t from, std::size_t to) const {
    using enum FragmentChange::Direction;
    const bool forward = from <= to;
    std::vector<Leg> legs;
    for (std::size_t i = std::min(from, to); i < std::max(from, to); ++i)
        if (steps[i].fragments.contains(fragment)) legs.push_back({steps[i].id, forward ? Forward : Backward});
    if (!forward) std::ranges::reverse(legs);
    return legs;
}

std::uint32_t& Line::timesChanged(std::uint32_t fragment) {
    if (!timesChanged_) {
        timesChanged_.emplace();
        for (const Step& step : steps)
            for (const std::uint32_t changed : step.fragments.numbers()) ++(*timesChanged_)[changed];
    }
    return (*timesChanged_)[fragment];
}

StepId Line::versionOf(std::uint32_t fragment, std::size_t place) const {
    while (place > 0 && !steps[place - 1].fragments.contains(fragment)) --place;
    return version(place);
}

std::unordered_map<std::uint32_t, StepId> Line::versionsAt(std::size_t place) const {
    std::unordered_map<std::uint32_t, StepId> versions;
    for (std::size_t i = 0; i < place; ++i)
        for (const std::uint32_t fragment : steps[i].fragments.numbers()) versions[fragment] = steps[i].id;
    return versions;
}

FragmentSet Line::changedBetween(std::size_t from, std::size_t to) const {
    std::vector<const FragmentSet*> changed;
    for (std::size_t i = std::min(from, to); i < std::max(from, to); ++i) changed.push_back(&steps[i].fragments);
    return FragmentSet::united(changed);
}

} // namespace corvane
