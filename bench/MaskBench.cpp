// SPDX-License-Identifier: Apache-2.0
#include "Comparison.hpp"
#include "Fiber/Selectors.hpp"
#include "Kesh/catalogue/VCreator.hpp"
#include "Kesh/values/LabelSet.hpp"
#include "Paths.hpp"
#include "network/Objects.hpp"
#include "plugin/Plugin.hpp"

#include <cstring>
#include <fmt/format.h>
#include <random>
#include <vector>

namespace corvane::bench {
namespace {

using Holdfast::StrongPtr;
using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t FragmentBytes = 65'536, Fragments = 1'526; // 100 million bytes
constexpr std::uint8_t Selectable = 5, Locked = 2, Target = 6;

/// A field in memory whose fragments hold half selectable and half locked vertices, as far as they are in the share;
/// the others are locked. And a masked editor that selects everything that it may.
class Editing {
public:
    explicit Editing(double share) {
        registerShellTypes();
        std::mt19937 engine(3);
        const auto field = Holdfast::create<Fiber::Field>(typeid(std::uint8_t));
        for (std::uint32_t f = 0; f < Fragments; ++f) {
            const auto array = Holdfast::create<Fiber::MemArray<std::uint8_t>>(FragmentBytes, Locked);
            if (double(f) < share * Fragments)
                for (auto& value : array->chunk.values) value = engine() & 1 ? Selectable : Locked;
            field->setPersistentData(Holdfast::create<Fiber::CreativeArrayBase>(StrongPtr<Fiber::MemBase>(array)),
                                     Holdfast::create<Fiber::FragmentID>(f));
        }
        Fiber::GridSelector grid;
        grid.bundle = Holdfast::create<Fiber::Bundle>();
        grid.gridName = "points";
        auto& vertices = (*(*grid.bundle)[0])["points"]->vertices();
        vertices.makeField(vertices.makeFieldID("Classification"), field);
        for (const auto& creator : Kesh::VCreatorBase::catalogue())
            if (creator->name() == "MaskedLabels") editor_ = creator->create("", nullptr);
        set("labelfield", Fiber::FieldSelector(grid, "Classification"));
        Kesh::LabelSet labels;
        labels[Selectable].flags["editable"] = true;
        labels[Target];
        labels.addSelection("Assign");
        labels.select("Assign", Target);
        set("labels", labels);
    }
    ~Editing() { Kesh::VCreatorBase::deleteInstance(editor_); }

    void act(const char* trigger) {
        set(trigger, Holdfast::create<Kesh::VAction>());
        editor_.lock()->update(Kesh::VRequest(pool_));
    }

private:
    template <class T>
    void set(const char* slot, T value) {
        editor_.lock()->findSlot(slot)->parameter()->setValue(
            *pool_, Holdfast::create<Kesh::VValue<T>>(std::move(value)), Holdfast::Ageable::nextTime());
    }

    StrongPtr<Kesh::ValuePool> pool_ = Holdfast::create<Kesh::ValuePool>();
    Holdfast::WeakPtr<Kesh::VObject> editor_;
};

/// What is written by hand first: a whole copy for undo, and a branch per point.
struct PlainEditing {
    explicit PlainEditing(double share) : values(Fragments * FragmentBytes, Locked), mask(values.size()), copy(values) {
        std::mt19937 engine(3);
        for (std::size_t i = 0; i < std::size_t(share * double(mask.size())); ++i) mask[i] = engine() & 1 ? 255 : 0;
    }
    void apply() {
        copy = values;
        for (std::size_t i = 0; i < values.size(); ++i)
            if (mask[i]) values[i] = Target;
    }
    Bytes values, mask, copy;
};

void compare(const std::string& part, double share) {
    Editing editing(share);
    PlainEditing plain(share);
    Bytes from(std::size_t(share * Fragments) * FragmentBytes, 1), to(from);
    const double amount = 1e-6 * double(from.size());
    Comparison applying(fmt::format("Apply through a mask, with undo, 100 million bytes, half the points of {}", part),
                        "MB");
    applying.add(
        "ours: MaskedLabels", amount, {}, [&] { editing.act("applySelection"); },
        [&] {
            editing.act("undo");
            editing.act("select");
        });
    applying.add("floor: memcpy of what changes", amount, {.speedAtLeast = 0.8}, [&] {
        std::memcpy(to.data(), from.data(), from.size());
        keep(to.data());
    });
    applying.add("whole copy, a branch per point", amount, {}, [&] { plain.apply(); });
    applying.print();
    fmt::print("\n");

    Comparison undoing(fmt::format("Undo of the same, {} fragments", std::size_t(share * Fragments)), "fragments");
    undoing.add(
        "ours: undo", share * Fragments, {}, [&] { editing.act("undo"); }, [&] { editing.act("redo"); });
    undoing.print(Fragments / 1e-4);
    fmt::print("\n");
}

} // namespace

void benchMask() {
    const Plugin plugin(findPlugin());
    compare("all fragments", 1);
    compare("1 % of the fragments", 0.01);
}

} // namespace corvane::bench
