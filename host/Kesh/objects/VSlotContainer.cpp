// SPDX-License-Identifier: Apache-2.0
#include "Kesh/objects/VSlotContainer.hpp"

#include "Kesh/objects/VObject.hpp"
#include "Kesh/objects/Vprintf.hpp"

#include <algorithm>

namespace Kesh {

using Holdfast::StrongPtr;

namespace {

StrongPtr<VSlot> findNamed(const std::vector<StrongPtr<VSlot>>& slots, const std::string& name) {
    const auto found = std::find_if(slots.begin(), slots.end(), [&](const auto& slot) { return slot->name() == name; });
    return found == slots.end() ? nullptr : *found;
}

/// `seen` are those that are known not to depend on the other.
bool dependsOn(const VSlotContainer& object, const VSlotContainer& other, std::set<const VSlotContainer*>& seen) {
    if (&object == &other) return true;
    if (!seen.insert(&object).second) return false;
    return std::any_of(object.allSlots().begin(), object.allSlots().end(), [&](const auto& slot) {
        const auto source = slot->source();
        return source && dependsOn(source->owner(), other, seen);
    });
}

bool sameType(const VSlot& a, const VSlot& b) {
    const auto& valueA = a.parameter()->DefaultValue();
    const auto& valueB = b.parameter()->DefaultValue();
    return valueA && valueB && valueA->type() == valueB->type();
}

} // namespace

VSlotContainer::VSlotContainer() : creationAge_(Holdfast::Ageable::nextTime()) {}

StrongPtr<VSlot> VSlotContainer::findSlot(const std::string& name) const { return findNamed(slots_, name); }
StrongPtr<VSlot> VSlotContainer::findOutput(const std::string& name) const { return findNamed(outputs_, name); }

void VSlotContainer::addSlot(const StrongPtr<VSlot>& slot) {
    if (findSlot(slot->name()))
        Vprintf(0, "TypedSlot(VObject*that, const string&name, const T&initialValue, int expertLevel");
    else
        slots_.push_back(slot);
}

void VSlotContainer::iterateOutputs(const std::function<bool(const StrongPtr<VSlot>& output)>& function) const {
    for (const auto& output : outputs_)
        if (!function(output)) return;
}

VSlotContainer::Age VSlotContainer::age(const ValuePool& pool) const {
    const auto found = ages_.find(pool.identifier());
    return found == ages_.end() ? creationAge_ : found->second;
}

void VSlotContainer::raiseAge(const ValuePool& pool, Age age) {
    Age& ours = ages_.try_emplace(pool.identifier(), creationAge_).first->second;
    ours = std::max(ours, age);
}

bool VSlotContainer::connectSlots(VSlot& input, const StrongPtr<VSlot>& output) {
    std::set<const VSlotContainer*> seen;
    if (!sameType(input, *output) || dependsOn(output->owner(), *this, seen)) return false;
    input.setSource(output);
    return true;
}

} // namespace Kesh
