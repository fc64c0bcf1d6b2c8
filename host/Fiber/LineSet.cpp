// SPDX-License-Identifier: Apache-2.0
#include "Fiber/LineSet.hpp"

#include "Fiber/FragmentBox.hpp"

#include <algorithm>
#include <stdexcept>

namespace Fiber {

using Holdfast::StrongPtr;
using Point = Sextant::PhysicalSpace::point;

namespace {

const std::string IndicesName = "Indices";

/// Both fields have one fragment.
StrongPtr<FragmentID> onlyFragment() { return Holdfast::create<FragmentID>(0); }

template <class T>
void put(Representation& representation, const std::string& name, typename Holdfast::Chunk<T>::Values values) {
    const auto field = Holdfast::create<Field>(typeid(T));
    const auto array = Holdfast::create<MemArray<T>>(std::move(values));
    field->setPersistentData(Holdfast::create<CreativeArrayBase>(StrongPtr<MemBase>(array)), onlyFragment());
    representation.makeField(representation.makeFieldID(name), field);
}

template <class T>
StrongPtr<const MemArray<T>> get(const Representation& representation, const std::string& name) {
    const auto field = representation.findField(name);
    return field ? arrayOf<T>(field->getData(onlyFragment())) : nullptr;
}

} // namespace

LineSet::LineSet(const StrongPtr<Grid>& grid, Positions positions, Indices indices) {
    if (std::ranges::any_of(indices, [&](std::uint32_t index) { return index >= positions.size(); }))
        throw std::invalid_argument("A line runs through vertices that there are.");
    put<Point>(grid->vertices(), PositionsName, std::move(positions));
    put<std::uint32_t>(grid->lines(), IndicesName, std::move(indices));
    *this = LineSet(grid);
}

LineSet::LineSet(const StrongPtr<Grid>& grid) {
    if (!grid) return;
    const auto indices = get<std::uint32_t>(grid->lines(), IndicesName);
    if (!indices) return; // vertices without a line
    indices_ = indices;
    positions_ = get<Point>(grid->vertices(), PositionsName);
}

std::span<const Point> LineSet::positions() const {
    return positions_ ? positions_->values() : std::span<const Point>();
}

std::span<const std::uint32_t> LineSet::indices() const {
    return indices_ ? indices_->values() : std::span<const std::uint32_t>();
}

} // namespace Fiber
