// SPDX-License-Identifier: Apache-2.0
#include "session/StrokePreview.hpp"

#include "Fiber/FragmentBox.hpp"
#include "Fiber/MaskField.hpp"
#include "Kesh/editing/VertexSelection.hpp"
#include "base/Failure.hpp"
#include "base/InOrder.hpp"
#include "network/StrokeText.hpp"

#include <algorithm>
#include <array>
#include <memory>
#include <span>

namespace corvane {
namespace {

using Holdfast::StrongPtr;
using Point = Sextant::PhysicalSpace::point;

constexpr std::size_t ByteValues = 256;
constexpr char ReturnNumber[] = "ReturnNumber";
using Chosen = std::array<bool, ByteValues>; ///< by value

Chosen chosen(const std::vector<int>& values) {
    Chosen table{};
    for (const int value : values)
        if (value >= 0 && value < static_cast<int>(ByteValues)) table[static_cast<std::size_t>(value)] = true;
    return table;
}

class Previewer {
public:
    Previewer(const WorkbenchState& state, const Stroke& stroke, Selecting how, const SelectionRule& rule, int value)
        : state_(state),
          how_(how),
          rule_(rule),
          value_(value),
          brush_(brushOf(asRecorded(stroke), *state.open->survey)),
          hiddenClasses_(chosen(rule.hiddenClasses)),
          hiddenReturns_(chosen(rule.hiddenReturns)),
          from_(chosen(rule.fromClasses.value_or(std::vector<int>()))) {
        if (!rule.fromClasses) from_.fill(true);
        for (std::size_t i = 0; i < ByteValues; ++i) locked_[i] = state.isLocked(static_cast<int>(i));
        const auto& fields = state.open->fields;
        positions_ = fields.at(Fiber::PositionsName);
        add(Fiber::PositionsName, positions_);
        for (const std::string& name : brush_.fields())
            if (name != state.field) add(name, fields.at(name));
        const auto classes = Holdfast::create<Fiber::Field>(typeid(std::uint8_t));
        for (const auto& [number, array] : *state.classes)
            classes->setPersistentData(array, positions_->fragments().at(number).id);
        add(state.field, classes);
        if (!rule.hiddenReturns.empty()) returns_ = fields.at(ReturnNumber);
    }

    std::optional<StrokePreview> run(const std::atomic<bool>& stop) const {
        std::vector<const Fiber::Field::Fragment*> met;
        for (const auto& [number, fragment] : positions_->fragments())
            if (fragment.array && state_.classes->contains(number) && mayBeMet(fragment)) met.push_back(&fragment);
        StrokePreview all;
        const auto count = [&](std::size_t i) { return stop ? StrokePreview() : in(*met[i]); };
        inOrder(met.size(), count, [&](std::size_t, const StrokePreview& part) { add(all, part); });
        return stop ? std::nullopt : std::optional(all);
    }

private:
    void add(const std::string& name, const StrongPtr<Fiber::Field>& field) {
        points_->makeField(points_->makeFieldID(name), field);
    }

    static void add(StrokePreview& all, const StrokePreview& part) {
        all.underStroke += part.underStroke;
        all.notVisible += part.notVisible;
        all.otherClass += part.otherClass;
        all.locked += part.locked;
        all.selected += part.selected;
        all.willChange += part.willChange;
        all.alreadyThatClass += part.alreadyThatClass;
    }

    bool mayBeMet(const Fiber::Field::Fragment& fragment) const {
        const auto box = brush_.readsPositions() ? Fiber::knownFragmentBBox(*positions_, fragment.id) : std::nullopt;
        return !box || brush_.partOf(*box) != Kesh::Brush::Part::None;
    }

    /// What the points of one fragment are; null spans where nobody asks.
    struct Columns {
        std::span<const std::uint8_t> classes, mask, returns;
        std::span<const Point> positions;
    };

    StrokePreview in(const Fiber::Field::Fragment& fragment) const {
        const std::uint32_t number = fragment.id->number();
        Kesh::VertexSelection selection(*points_, &brush_, Kesh::VertexSelection::Reading::Present);
        const auto indices = selection.of(fragment.id, fragment.array->size());
        if (indices.empty()) return {};
        const auto masked = how_ == Selecting::Remove ? state_.selected->find(number) : state_.selected->end();
        const auto classes = bytesOf(state_.classes->at(number));
        const auto mask = masked == state_.selected->end() ? nullptr : bytesOf(masked->second);
        const auto returns = returns_ ? bytesOf(returns_->fragments().at(number).array) : nullptr;
        const auto positions = rule_.heights ? Fiber::arrayOf<Point>(fragment.array->getData()) : nullptr;
        Columns columns;
        columns.classes = classes->values();
        if (mask) columns.mask = mask->values();
        if (returns) columns.returns = returns->values();
        if (positions) columns.positions = positions->values();
        return count(columns, indices);
    }

    static StrongPtr<const Fiber::MemArray<std::uint8_t>> bytesOf(const StrongPtr<Fiber::CreativeArrayBase>& array) {
        return Fiber::arrayOf<std::uint8_t>(array->getData());
    }

    StrokePreview count(const Columns& columns, std::span<const std::uint32_t> indices) const {
        StrokePreview counted;
        counted.underStroke = indices.size();
        for (const std::uint32_t i : indices) {
            const std::uint8_t value = columns.classes[i];
            if (isHidden(columns, i)) {
                ++counted.notVisible;
            } else if (!from_[value]) {
                ++counted.otherClass;
            } else if (locked_[value]) {
                ++counted.locked;
            } else if (how_ != Selecting::Remove || (!columns.mask.empty() && columns.mask[i] != Fiber::Unmasked)) {
                ++counted.selected;
                ++(value == value_ ? counted.alreadyThatClass : counted.willChange);
            }
        }
        return counted;
    }

    bool isHidden(const Columns& columns, std::uint32_t i) const {
        if (hiddenClasses_[columns.classes[i]]) return true;
        if (!columns.returns.empty() && hiddenReturns_[columns.returns[i]]) return true;
        if (!rule_.heights) return false;
        const double z = columns.positions[i].z;
        return !(z >= (*rule_.heights)[0] && z <= (*rule_.heights)[1]);
    }

    const WorkbenchState& state_;
    Selecting how_;
    const SelectionRule& rule_;
    int value_;
    Kesh::Brush brush_;
    Chosen hiddenClasses_, hiddenReturns_, from_, locked_{};
    StrongPtr<Fiber::Representation> points_ = Holdfast::create<Fiber::Representation>(); // what the brush reads
    StrongPtr<Fiber::Field> positions_, returns_;
};

} // namespace

std::optional<StrokePreview> previewOf(const WorkbenchState& state, const Stroke& stroke, Selecting how,
                                       const SelectionRule& rule, int value, const std::atomic<bool>& stop) {
    try {
        return Previewer(state, stroke, how, rule, value).run(stop);
    } catch (const Failure&) {
        throw;
    } catch (const StrokeProblem&) {
        throw;
    } catch (const std::exception& problem) { // of the host
        throw Failure(problem.what());
    }
}

} // namespace corvane
