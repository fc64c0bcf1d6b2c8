// SPDX-License-Identifier: Apache-2.0
#include "Comparison.hpp"
#include "Fiber/FragmentBox.hpp"
#include "Kesh/values/BoxValue.hpp"
#include "Paths.hpp"
#include "TemporarySurvey.hpp"
#include "network/Counting.hpp"
#include "network/Network.hpp"
#include "network/Objects.hpp"
#include "plugin/Plugin.hpp"

#include <fmt/format.h>
#include <glm/vector_relational.hpp>

namespace corvane::bench {
namespace {

constexpr std::uint64_t Points = 20'000'000;

/// A box around so much of the area, from a corner.
Sextant::BoundingBox boxAround(const Survey& survey, double share) {
    const LasHeader& header = survey.las().header;
    const auto end = [&](std::size_t axis) {
        return header.minimum[axis] + std::sqrt(share) * (header.maximum[axis] - header.minimum[axis]);
    };
    return {{header.minimum[0], header.minimum[1], header.minimum[2]}, {end(0), end(1), header.maximum[2]}};
}

/// Of the points, those in fragments that meet the box: so much has to be looked at.
double shareMet(const Survey& survey, const Sextant::BoundingBox& box) {
    const auto positions = survey.points().findField(Fiber::PositionsName);
    double met = 0;
    for (const auto& [number, fragment] : positions->fragments()) {
        const Sextant::BoundingBox part = Fiber::getFragmentBBox(*positions, fragment.id);
        const bool apart =
            glm::any(glm::lessThan(part.maximum, box.minimum)) || glm::any(glm::lessThan(box.maximum, part.minimum));
        met += apart ? 0 : double(fragment.array->size());
    }
    return met / double(positions->size());
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
    const auto count = [&] {
        keep(countPoints(*survey, {.field = survey->selector("Classification")}).histogram.values.get());
    };
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
        network.set("counts.Bounding Box", Kesh::VValueTrait<Kesh::BoxPtr>::Text(
                                               std::make_shared<Sextant::BoundingBox>(boxAround(*survey, share))));
        network.update();
    };
    Comparison region("Count with Z in a box, boxes of the fragments known", "counts");
    region.add("ours, a hundredth of the area", 1, {}, [&] { countBox(0.01); });
    region.add("ours, all of it", 1, {}, [&] { countBox(1); });
    region.print();
    fmt::print("  {:.1f} % of the points lie in fragments that meet the smaller box\n\n",
               100 * shareMet(*survey, boxAround(*survey, 0.01)));
}

} // namespace corvane::bench
