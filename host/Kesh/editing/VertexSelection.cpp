// SPDX-License-Identifier: Apache-2.0
#include "Kesh/editing/VertexSelection.hpp"

#include "Fiber/FragmentBox.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <numeric>
#include <stdexcept>
#include <utility>

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

/// The selection of a fragment that nobody has asked for yet. Who claims it makes it: the cache's thread, or whoever
/// asks before that has come to it.
struct VertexSelection::Ahead {
    enum class State { Open, Claimed, Made };

    FragmentPtr fragment;
    BoxPart part = BoxPart::None;
    std::vector<std::uint32_t> indices;
    std::exception_ptr failure;
    std::atomic<State> state = State::Open;

    bool claim() {
        State open = State::Open;
        return state.compare_exchange_strong(open, State::Claimed);
    }
    void made() {
        state = State::Made;
        state.notify_all();
    }
};

/// What the cache's thread has begun needs this.
VertexSelection::~VertexSelection() {
    if (ahead_ && !ahead_->claim()) ahead_->state.wait(Ahead::State::Claimed);
}

std::span<const std::uint32_t> VertexSelection::of(const FragmentPtr& fragment, std::size_t vertices) {
    if (!brush_) return all(vertices);
    if (!*brush_) return {};
    switch (take(fragment, vertices)) {
    case BoxPart::None:
        return {};
    case BoxPart::All:
        return all(vertices);
    case BoxPart::Some:
        break;
    }
    return selected_;
}

/// Of two fragments that follow each other the second is looked at while the first is.
BoxPart VertexSelection::take(const FragmentPtr& fragment, std::size_t vertices) {
    const auto ahead = std::exchange(ahead_, nullptr);
    const bool isMadeHere = !ahead || ahead->claim();
    if (!isMadeHere) ahead->state.wait(Ahead::State::Claimed);
    if (isMadeHere || ahead->fragment->number() != fragment->number()) {
        if (reading_ == Reading::Ahead) lookAhead(*fragment);
        return find(fragment, vertices, selected_);
    }
    if (ahead->failure) std::rethrow_exception(ahead->failure);
    requirePositions(*fragment, positions_->getCreator(fragment), vertices);
    selected_.swap(ahead->indices);
    return ahead->part;
}

void VertexSelection::lookAhead(const Fiber::FragmentID& present) {
    const auto* next = positions_->fragmentAfter(present);
    const auto& cache = next ? next->array->cache() : nullptr;
    if (!cache) return;
    ahead_ = std::make_shared<Ahead>();
    ahead_->fragment = next->id;
    cache->worker().add([this, ahead = ahead_, vertices = next->array->size()] {
        if (!ahead->claim()) return; // and this may be gone
        try {
            ahead->part = find(ahead->fragment, vertices, ahead->indices);
        } catch (...) {
            ahead->failure = std::current_exception();
        }
        ahead->made();
    });
}

BoxPart VertexSelection::find(const FragmentPtr& fragment, std::size_t vertices,
                              std::vector<std::uint32_t>& indices) const {
    if (!brush_->readsPositions()) {
        select(fragment, nullptr, vertices, indices);
        return BoxPart::Some;
    }
    requirePositions(*fragment, positions_->getCreator(fragment), vertices);
    // Positions whose box is not known yet are held, so that they are loaded once for the box and the selection.
    const bool boxKnown = Fiber::knownFragmentBBox(*positions_, fragment).has_value();
    const auto points = boxKnown ? nullptr : positions_->getData(fragment);
    const BoxPart part = brush_->partOf(Fiber::getFragmentBBox(*positions_, fragment));
    if (part == BoxPart::Some) select(fragment, points ? points : positions_->getData(fragment), vertices, indices);
    return part;
}

void VertexSelection::select(const FragmentPtr& fragment, const DataPtr& points, std::size_t vertices,
                             std::vector<std::uint32_t>& indices) const {
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
    brush_->select(columns, indices);
}

std::span<const std::uint32_t> VertexSelection::all(std::size_t vertices) {
    if (all_.size() < vertices) {
        all_.resize(vertices);
        std::iota(all_.begin(), all_.end(), 0u);
    }
    return std::span(all_).first(vertices);
}

} // namespace Kesh
