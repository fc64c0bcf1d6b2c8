// SPDX-License-Identifier: Apache-2.0
#include "survey/BrushedPoints.hpp"

#include "Fiber/FragmentBox.hpp"
#include "Fiber/MaskField.hpp"
#include "Kesh/editing/VertexSelection.hpp"

namespace corvane {

using Holdfast::StrongPtr;

BrushedPoints::BrushedPoints(const Survey& survey, const Kesh::Brush& brush, const Watch& watch)
    : survey_(survey), brush_(brush), watch_(watch), positions_(survey.points().findField(Fiber::PositionsName)) {}

template <class Function>
void BrushedPoints::visit(Function function) const {
    const auto& fragments = positions_->fragments();
    std::uint64_t done = 0;
    for (const auto& [number, fragment] : fragments) {
        watch_(done++, fragments.size(), "Reading the points under the polygon");
        if (brush_.partOf(Fiber::getFragmentBBox(*positions_, fragment.id)) == Kesh::Brush::Part::None) continue;
        if (!function(fragment.id)) return;
    }
}

bool BrushedPoints::load(const std::vector<std::string>& fields) {
    std::vector<StrongPtr<Fiber::Field>> wanted{positions_};
    for (const auto& names : {fields, brush_.fields()})
        for (const std::string& name : names) wanted.push_back(survey_.points().findField(name));
    std::size_t bytes = 0;
    const auto fits = [&] { return bytes <= survey_.memoryBudget(); };
    visit([&](const StrongPtr<Fiber::FragmentID>& fragment) {
        for (const auto& field : wanted) {
            kept_.push_back(field->getData(fragment));
            bytes += kept_.back()->bytes();
        }
        return fits();
    });
    if (!fits()) kept_.clear();
    return fits();
}

StrongPtr<Fiber::Field> BrushedPoints::mask() const {
    const auto mask = Fiber::makeMask(*positions_);
    Kesh::VertexSelection selection(survey_.points(), &brush_);
    visit([&](const StrongPtr<Fiber::FragmentID>& fragment) {
        const std::size_t points = positions_->getCreator(fragment)->size();
        const auto entries = Holdfast::create<Fiber::MemArray<std::uint8_t>>(points, Fiber::Unmasked);
        for (const std::uint32_t i : selection.of(fragment, points)) entries->chunk.values[i] = Fiber::Masked;
        const auto array = Holdfast::create<Fiber::CreativeArrayBase>(StrongPtr<Fiber::MemBase>(entries));
        mask->setPersistentData(array, fragment);
        return true;
    });
    return mask;
}

} // namespace corvane
