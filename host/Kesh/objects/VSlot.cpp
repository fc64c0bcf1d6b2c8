// SPDX-License-Identifier: Apache-2.0
#include "Kesh/objects/VSlot.hpp"

#include <map>
#include <mutex>

namespace Kesh {

using Holdfast::StrongPtr;

StrongPtr<VInputClass> VInputClass::getClass(const std::string& name) {
    static std::mutex mutex;
    static std::map<std::string, StrongPtr<VInputClass>> classes;
    const std::lock_guard lock(mutex);
    StrongPtr<VInputClass>& found = classes[name];
    if (!found) found = Holdfast::create<VInputClass>(name);
    return found;
}

VSlot::VSlot(VObject& owner, const ParameterIntroduction& introduction)
    : owner_(owner), parameter_(Holdfast::create<VParameter>(introduction)) {
    if (!introduction.group.empty()) setClass(VInputClass::getClass(introduction.group));
}

void VSlot::setSource(const StrongPtr<VSlot>& source) {
    source_ = source;
    connected_ = true;
    for (auto& [pool, parameter] : noted_) parameter = {}; // also when it is the same again
}

StrongPtr<VParameter> VSlot::sourceParameter() const { return parameter_->hasInputNotifier() ? parameter_ : offered(); }

StrongPtr<VParameter> VSlot::offered() const {
    const auto connected = source();
    return connected ? connected->sourceParameter() : parameter_;
}

void VSlot::takeOver(ValuePool& pool) {
    const auto connected = source();
    if (!connected || !parameter_->hasInputNotifier()) return;
    const auto value = connected->getValueBase(pool);
    if (value && (hasOtherSource(pool) || value->age() > ValueAge(pool)))
        parameter_->setValue(pool, value->copy(), value->age());
}

bool VSlot::hasOtherSource(const ValuePool& pool) const {
    const auto noted = noted_.find(pool.identifier());
    return noted == noted_.end() ? connected_ : !(noted->second.lock() == offered());
}

void VSlot::noteSource(const ValuePool& pool) { noted_[pool.identifier()] = offered(); }

StrongPtr<VValueBase> VSlot::getValueBase(const ValuePool& pool) const { return sourceParameter()->getValue(pool); }

Holdfast::Ageable::Age VSlot::ValueAge(const ValuePool& pool) const {
    const auto value = getValueBase(pool);
    return value ? value->age() : Holdfast::Ageable::Ooooold;
}

} // namespace Kesh
