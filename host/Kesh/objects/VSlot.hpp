// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/objects/VParameter.hpp"

#include <map>
#include <stdexcept>
#include <string>

namespace Kesh {

class VObject;

/// A group of inputs that the shell presents together, by name.
class VInputClass : public Holdfast::Managed {
public:
    explicit VInputClass(std::string name) : name_(std::move(name)) {}
    const std::string& name() const { return name_; }

    /// The class of this name, the same for all who ask.
    static Holdfast::StrongPtr<VInputClass> getClass(const std::string& name);

private:
    std::string name_;
};

/// Where an object reads a value: a parameter of its own, or the slot of another object that it is connected to.
class VSlot : public Holdfast::Managed {
public:
    VSlot(VObject& owner, const ParameterIntroduction& introduction);

    VObject& owner() const { return owner_; }
    const std::string& name() const { return parameter_->Name(); }
    const Holdfast::StrongPtr<VParameter>& parameter() const { return parameter_; }

    /// The group that the slot belongs to, at first that of its introduction; null for none.
    const Holdfast::StrongPtr<VInputClass>& inputClass() const { return inputClass_; }
    void setClass(const Holdfast::StrongPtr<VInputClass>& inputClass) { inputClass_ = inputClass; }

    /// The slot that this one reads instead of its own parameter; empty when not connected, or that slot is gone.
    Holdfast::StrongPtr<VSlot> source() const { return source_.lock(); }
    void setSource(const Holdfast::StrongPtr<VSlot>& source);

    /// Whether it was ever connected. One whose source is gone reads its own initial value, and is not as if free.
    bool connected() const { return connected_; }

    /// The parameter that is read in the end, following connections.
    Holdfast::StrongPtr<VParameter> sourceParameter() const;

    /// Copies the value of the source into the own parameter, where an input notifier may change it, and from where it
    /// is read: a new value, and any of another source than before. Nothing happens without an input notifier.
    void takeOver(ValuePool& pool);

    /// Whether what the slot is connected to, in the end, is another parameter than when `noteSource` was last called.
    bool hasOtherSource(const ValuePool& pool) const;
    void noteSource(const ValuePool& pool);

    /// The value in the pool; empty when the parameter could not be made.
    Holdfast::StrongPtr<VValueBase> getValueBase(const ValuePool& pool) const;

    /// When the value in the pool was set; `Ooooold` for an initial value.
    Holdfast::Ageable::Age ValueAge(const ValuePool& pool) const;
    Holdfast::Ageable::Age age(const ValuePool& pool) const { return ValueAge(pool); }

private:
    Holdfast::StrongPtr<VParameter> offered() const; // at the end of the connections

    VObject& owner_; // which owns this slot
    Holdfast::StrongPtr<VParameter> parameter_;
    Holdfast::WeakPtr<VSlot> source_;
    bool connected_ = false;
    std::map<std::uint64_t, Holdfast::WeakPtr<VParameter>> noted_; // by pool: what was offered
    Holdfast::StrongPtr<VInputClass> inputClass_;
};

/// The slot of an object for values of type T. Where the parameter could not be made it reads as the initial value.
template <class T>
class TypedSlot {
public:
    /// Adds the slot to the owner.
    TypedSlot(VObject& owner, const std::string& name, const T& initialValue, int expertLevel = 0);

    /// Stands for the slot of that name which the owner has already. Throws std::logic_error when it has none.
    TypedSlot(const VObject& owner, const std::string& name);

    /// Stands for a slot.
    explicit TypedSlot(Holdfast::StrongPtr<VSlot> slot, const T& initialValue = T())
        : slot_(std::move(slot)), initial_(initialValue) {}

    const VSlot& operator*() const { return *slot_; }
    VSlot* operator->() const { return slot_.get(); }
    const Holdfast::StrongPtr<VSlot>& slot() const { return slot_; }

    T get(const ValuePool& pool) const {
        const auto value = Holdfast::cast<VValue<T>>(slot_->getValueBase(pool));
        return value ? value->value : initial_;
    }

private:
    Holdfast::StrongPtr<VSlot> slot_;
    T initial_;
};

} // namespace Kesh
