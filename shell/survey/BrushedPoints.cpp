// SPDX-License-Identifier: Apache-2.0
#include "survey/BrushedPoints.hpp"

#include "base/Failure.hpp"
#include "Fiber/FragmentBox.hpp"
#include "Kesh/editing/MaskField.hpp"

namespace corvane {

using Holdfast::StrongPtr;
using Point = Sextant::PhysicalSpace::point;

BrushedPoints::BrushedPoints(const Survey& survey, const Kesh::Brush& brush, std::function<bool()> goOn)
    : survey_(survey),
      brush_(brush),
      goOn_(std::move(goOn)),
      positions_(survey.points().findField(Fiber::PositionsName)) {}

bool BrushedPoints::meets(const StrongPtr<Fiber::FragmentID>& fragment) const {
    if (!goOn_()) throw Failure("Interrupted while the points under the polygon were brought in.");
    return brush_.partOf(Fiber::getFragmentBBox(*positions_, fragment)) != Kesh::Brush::Part::None;
}

bool BrushedPoints::load(const std::vector<std::string>& fields) {
    std::vector<StrongPtr<Fiber::Field>> wanted{positions_};
    for (const std::string& name : fields) wanted.push_back(survey_.points().findField(name));
    std::size_t bytes = 0;
    for (const auto& [number, fragment] : positions_->fragments()) {
        if (!meets(fragment.id)) continue;
        for (const auto& field : wanted) {
            kept_.push_back(field->getData(fragment.id));
            bytes += kept_.back()->bytes();
        }
        if (bytes <= survey_.memoryBudget()) continue;
        kept_.clear();
        return false;
    }
    return true;
}

StrongPtr<Fiber::Field> BrushedPoints::mask() const {
    const auto mask = Kesh::makeMask(*positions_);
    std::vector<std::uint32_t> indices;
    for (const auto& [number, fragment] : positions_->fragments()) {
        if (!meets(fragment.id)) continue;
        const auto points = Fiber::arrayOf<Point>(fragment.array->getData());
        brush_.select(points->values(), indices);
        const auto entries = Holdfast::create<Fiber::MemArray<std::uint8_t>>(points->size(), Kesh::Unmasked);
        for (const std::uint32_t i : indices) entries->chunk.values[i] = Kesh::Masked;
        const auto array = Holdfast::create<Fiber::CreativeArrayBase>(StrongPtr<Fiber::MemBase>(entries));
        mask->setPersistentData(array, fragment.id);
    }
    return mask;
}

} // namespace corvane
