// SPDX-License-Identifier: Apache-2.0
#include "Kesh/editing/VertexSelection.hpp"

#include "Fiber/FragmentBox.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <stdexcept>

namespace Kesh {

using Holdfast::StrongPtr;
using Point = Sextant::PhysicalSpace::point;

namespace {

StrongPtr<Fiber::Field> fieldFor(const Fiber::Representation& representation, const std::string& name) {
    const auto field = representation.findField(name);
    if (field) return field;
    throw std::runtime_error(fmt::format("The brush cannot select anything: the grid has no field \"{}\".", name));
}

void requirePositions(const Fiber::FragmentID& fragment, const StrongPtr<Fiber::CreativeArrayBase>& positions,
                      std::size_t vertices) {
    if (positions && positions->size() == vertices && positions->getFiberType() == typeid(Point)) return;
    throw std::runtime_error(fmt::format("Fragment {} has {} vertices but {} positions.", fragment.number(), vertices,
                                         positions ? positions->size() : 0));
}

} // namespace

std::vector<double> numbersOf(const Fiber::MemBase& data) {
    std::vector<double> numbers;
    Fiber::visitArray<std::uint8_t, std::int8_t, std::uint16_t, std::int16_t, std::uint32_t, std::int32_t,
                      std::uint64_t, std::int64_t, float, double>(data, [&](const auto& array) {
        numbers.resize(array.size());
        std::ranges::transform(array.values(), numbers.begin(), [](auto value) { return double(value); });
    });
    return numbers;
}

VertexSelection::VertexSelection(const Fiber::Representation& representation, const Brush* brush, Reading reading)
    : brush_(brush), reading_(reading) {
    if (!brush_ || !*brush_) return;
    positions_ = fieldFor(representation, Fiber::PositionsName);
    for (const std::string& name : brush_->fields()) fields_.push_back(fieldFor(representation, name));
}

std::span<const std::uint32_t> VertexSelection::of(const StrongPtr<Fiber::FragmentID>& fragment, std::size_t vertices) {
    if (!brush_) return all(vertices);
    if (!*brush_) return {};
    if (!brush_->readsPositions()) {
        select(fragment, nullptr, vertices);
        return selected_;
    }
    requirePositions(*fragment, positions_->getCreator(fragment), vertices);
    if (reading_ == Reading::Ahead) readAhead(*fragment);
    // Positions whose box is not known yet are held, so that they are loaded once for the box and the selection.
    const bool boxKnown = Fiber::knownFragmentBBox(*positions_, fragment).has_value();
    auto points = boxKnown ? nullptr : positions_->getData(fragment);
    switch (brush_->partOf(Fiber::getFragmentBBox(*positions_, fragment))) {
    case BoxPart::None:
        return {};
    case BoxPart::All:
        return all(vertices);
    case BoxPart::Some:
        break;
    }
    select(fragment, points ? points : positions_->getData(fragment), vertices);
    return selected_;
}

void VertexSelection::select(const StrongPtr<Fiber::FragmentID>& fragment, const DataPtr& points,
                             std::size_t vertices) {
    PointColumns columns;
    if (points) columns.positions = Fiber::arrayOf<Point>(points)->values();
    std::vector<std::vector<double>> numbers;
    for (const FieldPtr& field : fields_) {
        const auto data = field->getCreator(fragment) ? field->getData(fragment) : nullptr;
        numbers.push_back(data ? numbersOf(*data) : std::vector<double>());
        if (numbers.back().size() != vertices)
            throw std::runtime_error(
                fmt::format("Fragment {} has {} vertices but {} numbers of a field that the limit of the brush reads.",
                            fragment->number(), vertices, numbers.back().size()));
        columns.fields.emplace_back(numbers.back());
    }
    brush_->select(columns, selected_);
}

/// The positions of the next fragment come while this one is looked at.
void VertexSelection::readAhead(const Fiber::FragmentID& present) const {
    const auto* next = positions_->fragmentAfter(present);
    if (!next) return;
    const auto box = Fiber::knownFragmentBBox(*positions_, next->id);
    if (!box || brush_->partOf(*box) == BoxPart::Some) next->array->loadAhead();
}

std::span<const std::uint32_t> VertexSelection::all(std::size_t vertices) {
    if (all_.size() < vertices) {
        all_.resize(vertices);
        std::iota(all_.begin(), all_.end(), 0u);
    }
    return std::span(all_).first(vertices);
}

} // namespace Kesh
