// SPDX-License-Identifier: Apache-2.0
#include "Kesh/objects/VSlotContainer.hpp"

#include "Kesh/objects/VObject.hpp"

#include <algorithm>

namespace Kesh {

using Holdfast::StrongPtr;

namespace {

StrongPtr<VSlot> findNamed(const std::vector<StrongPtr<VSlot>>& slots, const std::string& name) {
    const auto found = std::find_if(slots.begin(), slots.end(), [&](const auto& slot) { return slot->name() == name; });
    return found == slots.end() ? nullptr : *found;
}

bool dependsOn(const VSlotContainer& object, const VSlotContainer& other) {
    if (&object == &other) return true;
    return std::any_of(object.allSlots().begin(), object.allSlots().end(), [&](const auto& slot) {
        const auto source = slot->source();
        return source && dependsOn(source->owner(), other);
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

VSlotContainer::Age VSlotContainer::age(const ValuePool& pool) const {
    const auto found = ages_.find(pool.identifier());
    return found == ages_.end() ? creationAge_ : found->second;
}

void VSlotContainer::raiseAge(const ValuePool& pool, Age age) {
    Age& ours = ages_.try_emplace(pool.identifier(), creationAge_).first->second;
    ours = std::max(ours, age);
}

bool VSlotContainer::connectSlots(VSlot& input, const StrongPtr<VSlot>& output) {
    if (!sameType(input, *output) || dependsOn(output->owner(), *this)) return false;
    input.setSource(output);
    connectionAge_ = Holdfast::Ageable::nextTime();
    return true;
}

} // namespace Kesh
