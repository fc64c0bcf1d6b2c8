// SPDX-License-Identifier: Apache-2.0
#include "Kesh/objects/VSlot.hpp"

#include <map>

namespace Kesh {

using Holdfast::StrongPtr;

StrongPtr<VInputClass> VInputClass::getClass(const std::string& name) {
    static std::map<std::string, StrongPtr<VInputClass>> classes;
    StrongPtr<VInputClass>& found = classes[name];
    if (!found) found = Holdfast::create<VInputClass>(name);
    return found;
}

VSlot::VSlot(VObject& owner, const ParameterIntroduction& introduction)
    : owner_(owner), parameter_(Holdfast::create<VParameter>(introduction)) {
    if (!introduction.group.empty()) setClass(VInputClass::getClass(introduction.group));
}

StrongPtr<VParameter> VSlot::sourceParameter() const {
    const auto connected = source();
    return connected && !parameter_->hasInputNotifier() ? connected->sourceParameter() : parameter_;
}

void VSlot::takeOver(ValuePool& pool) {
    const auto connected = source();
    if (!connected || !parameter_->hasInputNotifier()) return;
    const auto offered = connected->getValueBase(pool);
    if (offered && offered->age() > ValueAge(pool)) parameter_->setValue(pool, offered->copy(), offered->age());
}

StrongPtr<VValueBase> VSlot::getValueBase(const ValuePool& pool) const { return sourceParameter()->getValue(pool); }

Holdfast::Ageable::Age VSlot::ValueAge(const ValuePool& pool) const {
    const auto value = getValueBase(pool);
    return value ? value->age() : Holdfast::Ageable::Ooooold;
}

} // namespace Kesh
