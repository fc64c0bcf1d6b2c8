// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/objects/InputNotifier.hpp"
#include "Kesh/objects/ParameterIntroduction.hpp"

#include <string>

namespace Kesh {

/// A named value of an object: one for all contexts, the default, and one in each value pool in which it was set.
class VParameter : public Holdfast::Managed {
public:
    /// Without a registered value creator for the type of the initial value it says so and holds no value.
    explicit VParameter(ParameterIntroduction introduction);

    const std::string& Name() const { return introduction_.name; }
    const ParameterIntroduction& introduction() const { return introduction_; }

    const ValueMap& properties() const { return introduction_.properties; }
    void setProperty(const std::string& name, ValueMap::Value value) {
        introduction_.properties.setValue(name, std::move(value));
    }

    /// The value where no pool has another; empty when the parameter could not be made.
    const Holdfast::StrongPtr<VValueBase>& DefaultValue() const { return defaultValue_; }

    /// Sets the default. Its age stays `Ooooold`: an initial value is no change.
    void setGlobalValue(const Holdfast::StrongPtr<VValueBase>& value);

    /// The value in the pool, else the default.
    Holdfast::StrongPtr<VValueBase> getValue(const ValuePool& pool) const;

    /// Sets the value in the pool, of the type that the default has, at the given time. Input notifiers see it first;
    /// an action is told to the action notifiers.
    void setValue(ValuePool& pool, const Holdfast::StrongPtr<VValueBase>& value, Holdfast::Ageable::Age time);

    /// What this parameter holds in the pool itself, leaving out the default; a null pointer when nothing was set there
    /// or it is not a T. `name` is the kind of value that is meant, "FieldInput" for fields, and empty for any.
    template <class T>
    Holdfast::StrongPtr<VValue<T>> getLocalValue(const ValuePool& pool, const std::string& name = "") const {
        const bool meant = name.empty() || (name == "FieldInput" && std::same_as<T, Fiber::FieldSelector>);
        return meant ? Holdfast::cast<VValue<T>>(pool.retrieveValue(variableName_)) : nullptr;
    }

    /// Who is asked about every new value.
    void setInputNotifier(const Holdfast::StrongPtr<InputNotifier>& notifier) { notifier_ = notifier; }
    bool hasInputNotifier() const { return bool(notifier_); }

    /// Notes that the value in the pool was changed in place at the given time.
    void notifyValueChange(ValuePool& pool, Holdfast::Ageable::Age time);

private:
    ParameterIntroduction introduction_;
    std::string variableName_; // in pools: unlike that of any other parameter
    Holdfast::StrongPtr<VValueBase> defaultValue_;
    Holdfast::StrongPtr<InputNotifier> notifier_; // empty: nobody asks
};

} // namespace Kesh
