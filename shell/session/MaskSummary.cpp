// SPDX-License-Identifier: Apache-2.0
#include "session/MaskSummary.hpp"

#include "Fiber/MaskField.hpp"

#include <algorithm>

namespace corvane {

ArraysByFragment selectedArrays(const Fiber::Representation& points) {
    const auto mask = points.findField(MaskName);
    ArraysByFragment arrays = mask && Fiber::isMask(*mask) ? arraysOf(*mask) : ArraysByFragment();
    std::erase_if(arrays, [](const auto& fragment) { return fragment.second->knownZero(); });
    return arrays;
}

bool anySelected(const Fiber::Representation& points) {
    const ArraysByFragment arrays = selectedArrays(points);
    return std::ranges::any_of(arrays, [](const auto& fragment) {
        const auto entries = Fiber::arrayOf<std::uint8_t>(fragment.second->getData());
        return std::ranges::any_of(entries->values(), [](std::uint8_t entry) { return entry != Fiber::Unmasked; });
    });
}

MaskSummary maskSummary(const Survey& survey, const std::string& field, const Watch& watch) {
    const Count counted = countPoints(
        survey, {.field = survey.selector(field), .region = CountTask::WhereNotZero{MaskName}, .secondary = "Z"},
        watch);
    const Kesh::VHistogram& histogram = counted.histogram;
    MaskSummary summary;
    summary.complete = counted.complete();
    summary.points = histogram.total();
    summary.counts = classCounts(histogram);
    for (std::size_t i = 0; i < histogram.size() && histogram.hasStatistics(); ++i) {
        const std::array heights = {histogram.minimum[i], histogram.maximum[i]};
        summary.heights[static_cast<int>(histogram.value(i))] = heights;
        summary.range[0] = i == 0 ? heights[0] : std::min(summary.range[0], heights[0]);
        summary.range[1] = i == 0 ? heights[1] : std::max(summary.range[1], heights[1]);
    }
    return summary;
}

} // namespace corvane
