// SPDX-License-Identifier: Apache-2.0
#include "survey/BrushedPoints.hpp"

#include "Fiber/FragmentBox.hpp"
#include "Fiber/MaskField.hpp"
#include "Kesh/editing/VertexSelection.hpp"
#include "base/InOrder.hpp"

#include <algorithm>

namespace corvane {

using Holdfast::StrongPtr;

BrushedPoints::BrushedPoints(const Survey& survey, const Kesh::Brush& brush, const Watch& watch)
    : survey_(survey), brush_(brush), watch_(watch), positions_(survey.points().findField(Fiber::PositionsName)) {}

/// As far as a box that is known tells.
bool BrushedPoints::isMet(const StrongPtr<Fiber::FragmentID>& fragment) const {
    const auto box = brush_.readsPositions() ? Fiber::knownFragmentBBox(*positions_, fragment) : std::nullopt;
    return !box || brush_.partOf(*box) != Kesh::Brush::Part::None;
}

/// Whether positions and so many fields of all fragments that may be met fit into the budget, whatever their types.
bool BrushedPoints::fit(std::size_t fields) const {
    const std::size_t pointBytes = sizeof(Sextant::PhysicalSpace::point) + fields * sizeof(double);
    std::size_t bytes = 0;
    for (const auto& [number, fragment] : positions_->fragments())
        if (fragment.array && isMet(fragment.id)) bytes += fragment.array->size() * pointBytes;
    return bytes <= survey_.memoryBudget();
}

template <class Function>
void BrushedPoints::visit(Function function) const {
    const auto& fragments = positions_->fragments();
    std::uint64_t done = 0;
    for (const auto& [number, fragment] : fragments) {
        watch_(done++, fragments.size(), "Reading the points under the polygon");
        if (isMet(fragment.id) && !function(fragment.id)) return;
    }
}

bool BrushedPoints::load(const std::vector<std::string>& fields) {
    std::vector<StrongPtr<Fiber::Field>> wanted{positions_};
    for (const auto& names : {fields, brush_.fields()})
        for (const std::string& name : names) wanted.push_back(survey_.points().findField(name));
    if (!fit(wanted.size() - 1)) return false;
    visit([&](const StrongPtr<Fiber::FragmentID>& fragment) {
        for (const auto& field : wanted) kept_.push_back(field->getData(fragment));
        return true;
    });
    return true;
}

/// Fragments are looked at on all threads: what takes the time is reading and decoding, all fields of one together.
StrongPtr<Fiber::Field> BrushedPoints::mask(const std::vector<std::string>& fields) const {
    const auto mask = Fiber::makeMask(*positions_);
    std::vector<const Fiber::Field::Fragment*> met;
    for (const auto& [number, fragment] : positions_->fragments())
        if (fragment.array && isMet(fragment.id)) met.push_back(&fragment);
    using Entries = StrongPtr<Fiber::MemBase>;
    inOrder(
        met.size(), [&](std::size_t i) { return maskOf(*met[i], fields); },
        [&](std::size_t i, const Entries& entries) {
            watch_(i, met.size(), "Looking which points are meant");
            mask->setPersistentData(Holdfast::create<Fiber::CreativeArrayBase>(entries), met[i]->id);
        });
    return mask;
}

/// What only the brush reads goes at once, so that its memory serves the next fragment and the fields stay.
StrongPtr<Fiber::MemBase> BrushedPoints::maskOf(const Fiber::Field::Fragment& fragment,
                                                const std::vector<std::string>& fields) const {
    std::vector<StrongPtr<Fiber::CreativeArrayBase>> arrays;
    const auto add = [&](const std::vector<std::string>& names) {
        for (const std::string& name : names)
            if (const auto field = survey_.points().findField(name)) arrays.push_back(field->getCreator(fragment.id));
    };
    add(fields);
    const std::vector<StrongPtr<Fiber::CreativeArrayBase>> toStay = arrays;
    if (brush_.readsPositions()) arrays.push_back(fragment.array);
    add(brush_.fields());
    const auto made = loadTogether(arrays);
    const auto entries = Holdfast::create<Fiber::MemArray<std::uint8_t>>(fragment.array->size(), Fiber::Unmasked);
    Kesh::VertexSelection selection(survey_.points(), &brush_, Kesh::VertexSelection::Reading::Present);
    for (const std::uint32_t i : selection.of(fragment.id, entries->size())) entries->chunk.values[i] = Fiber::Masked;
    for (const auto& array : made)
        if (std::ranges::find(toStay, array) == toStay.end()) array->discardCreation();
    return entries;
}

bool meetsAny(const Survey& survey, const Kesh::Brush& brush, const Watch& watch) {
    const auto positions = survey.points().findField(Fiber::PositionsName);
    Kesh::VertexSelection selection(survey.points(), &brush);
    const auto& fragments = positions->fragments();
    std::uint64_t done = 0;
    for (const auto& [number, fragment] : fragments) {
        watch(done++, fragments.size(), "Looking for points");
        if (fragment.array && !selection.of(fragment.id, fragment.array->size()).empty()) return true;
    }
    return false;
}

} // namespace corvane
