// SPDX-License-Identifier: Apache-2.0
#include "Kesh/VSlot.hpp"

namespace Kesh {

using Holdfast::StrongPtr;

VSlot::VSlot(VObject& owner, const std::string& name, int expertLevel)
    : owner_(owner), parameter_(Holdfast::create<VParameter>(name, expertLevel)) {}

StrongPtr<VParameter> VSlot::sourceParameter() const {
    const auto connected = source();
    return connected ? connected->sourceParameter() : parameter_;
}

StrongPtr<VValueBase> VSlot::getValueBase(const ValuePool& pool) const { return sourceParameter()->getValue(pool); }

Holdfast::Ageable::Age VSlot::ValueAge(const ValuePool& pool) const {
    const auto value = getValueBase(pool);
    return value ? value->age() : Holdfast::Ageable::Ooooold;
}

} // namespace Kesh
