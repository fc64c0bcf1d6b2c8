// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/objects/VSlot.hpp"

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace Kesh {

/// The slots of an object, which of them are outputs, and when the object was last up to date in each value pool.
///
/// The age in a pool is at first that of the creation. So initial values, and values set before the object existed, are
/// no changes to it; a value set since is one, until the age is raised past it.
class VSlotContainer {
public:
    using Age = Holdfast::Ageable::Age;

    VSlotContainer();
    virtual ~VSlotContainer() = default;

    const std::vector<Holdfast::StrongPtr<VSlot>>& allSlots() const { return slots_; }

    /// Empty when there is no slot of that name.
    Holdfast::StrongPtr<VSlot> findSlot(const std::string& name) const;

    /// One whose name another slot has already is not added, and it says so.
    void addSlot(const Holdfast::StrongPtr<VSlot>& slot);

    /// Makes a slot one that others may be connected to. A user may edit its value too.
    void registerOutput(const Holdfast::StrongPtr<VSlot>& slot) { outputs_.push_back(slot); }
    const std::vector<Holdfast::StrongPtr<VSlot>>& outputs() const { return outputs_; }
    Holdfast::StrongPtr<VSlot> findOutput(const std::string& name) const;

    /// Calls the function with each output until it returns false.
    void iterateOutputs(const std::function<bool(const Holdfast::StrongPtr<VSlot>& output)>& function) const;

    /// Whether the slot's value was set since the object was last up to date in the pool.
    bool hasChanged(const VSlot& slot, const ValuePool& pool) const { return slot.ValueAge(pool) > age(pool); }

    Age age(const ValuePool& pool) const;

    /// Never lowers it.
    void raiseAge(const ValuePool& pool, Age age);

    /// Whether the object was ever up to date in the pool.
    bool wasUpdated(const ValuePool& pool) const { return ages_.contains(pool.identifier()); }

    /// From now on a change of the slot's value is no reason for an update.
    void ignoreInput(const VSlot& slot) { ignored_.insert(&slot); }
    bool isIgnored(const VSlot& slot) const { return ignored_.contains(&slot); }

    /// Connects the input to the output of another object. False when they hold different types, or when the other
    /// object already depends on this one.
    bool connectSlots(VSlot& input, const Holdfast::StrongPtr<VSlot>& output);

private:
    std::vector<Holdfast::StrongPtr<VSlot>> slots_;
    std::vector<Holdfast::StrongPtr<VSlot>> outputs_;
    std::map<std::uint64_t, Age> ages_; // by pool
    Age creationAge_;
    std::set<const VSlot*> ignored_;
};

} // namespace Kesh
