// SPDX-License-Identifier: Apache-2.0
#include "Comparison.hpp"
#include "Fiber/FragmentBox.hpp"
#include "Kesh/BoxValue.hpp"
#include "Paths.hpp"
#include "TemporarySurvey.hpp"
#include "network/ClassCounts.hpp"
#include "network/Network.hpp"
#include "network/Objects.hpp"
#include "plugin/Plugin.hpp"

#include <fmt/format.h>

namespace corvane::bench {
namespace {

constexpr std::uint64_t Points = 20'000'000;

/// A box around about so much of the area, from a corner.
std::string boxAround(const Survey& survey, double share) {
    const LasHeader& header = survey.las().header;
    const double part = std::sqrt(share);
    return fmt::format("{},{},-1e9,{},{},1e9", header.minimum[0], header.minimum[1],
                       header.minimum[0] + part * (header.maximum[0] - header.minimum[0]),
                       header.minimum[1] + part * (header.maximum[1] - header.minimum[1]));
}

} // namespace

void benchHistogram() {
    const Plugin plugin(findPlugin());
    const TemporarySurvey file(Points);
    const double amount = 1e-6 * double(Points);
    std::shared_ptr<const Survey> survey;
    const auto open = [&] { survey = std::make_shared<const Survey>(file.path()); };
    open();

    Comparison whole("Count a whole survey of 20 million points, opened, not loaded, file cached", "M points");
    const auto count = [&] { keep(countWhole(survey->selector("Classification")).values.get()); };
    whole.add("ours, again, unchanged", amount, {}, count);
    whole.add("ours, for the first time", amount, {.speedAtLeast = 100}, count, open);
    whole.print();
    fmt::print("\n");

    open();
    Network network(survey);
    network.addObject("points", FieldType);
    network.addObject("counts", "Compute/PointCloudHistogram");
    network.connect("points.field", "counts.inputfield", false);
    network.set("counts.secondaryfield", "Z");
    const auto countBox = [&](double share) {
        network.set("counts.Bounding Box", boxAround(*survey, share));
        network.update();
    };
    Comparison region("Count with Z in a box, boxes of the fragments known", "counts");
    region.add("ours, a hundredth of the area", 1, {}, [&] { countBox(0.01); });
    region.add("ours, all of it", 1, {}, [&] { countBox(1); });
    region.print();
}

} // namespace corvane::bench
