// SPDX-License-Identifier: Apache-2.0
#include "Kesh/objects/VParameter.hpp"

#include "Kesh/objects/VActionNotifier.hpp"
#include "Kesh/objects/Vprintf.hpp"

#include <atomic>
#include <cassert>

namespace Kesh {
namespace {

std::string uniqueName(const std::string& name) {
    static std::atomic<std::uint64_t> last{0};
    return name + "#" + std::to_string(++last);
}

} // namespace

VParameter::VParameter(ParameterIntroduction introduction)
    : introduction_(std::move(introduction)), variableName_(uniqueName(Name())) {
    if (VValueCreator::find(Holdfast::Typename(introduction_.initial.type())))
        setGlobalValue(introduction_.initial.make());
    else
        Vprintf(0, "Typeslot has a problem, its creators were not registered!?\n");
}

void VParameter::setGlobalValue(const Holdfast::StrongPtr<VValueBase>& value) {
    Vprintf(100, "VParameter::setGlobalValue() got variable with %s\n", Name().c_str());
    defaultValue_ = value;
}

Holdfast::StrongPtr<VValueBase> VParameter::getValue(const ValuePool& pool) const {
    const auto local = pool.retrieveValue(variableName_);
    return local ? local : defaultValue_;
}

void VParameter::setValue(ValuePool& pool, const Holdfast::StrongPtr<VValueBase>& value, Holdfast::Ageable::Age time) {
    assert(defaultValue_ && value->type() == defaultValue_->type());
    value->setAge(time);
    if (notifier_) notifier_->notify(*value, pool.pointer());
    pool.createVariable(variableName_, value);
    if (value->type() == typeid(Action)) VActionNotifier::actionTriggered(Name(), pool);
}

void VParameter::notifyValueChange(ValuePool& pool, Holdfast::Ageable::Age time) {
    if (const auto value = pool.retrieveValue(variableName_)) value->raiseAge(time);
}

} // namespace Kesh
