// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/objects/StatusIndicator.hpp"
#include "Kesh/objects/VRequest.hpp"
#include "Kesh/objects/VSlotContainer.hpp"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace Kesh {

class VAcceptList;
class VCreatorBase;

/// A module in a network: parameters, inputs and outputs, and the work between them.
///
/// An update brings the objects behind the connected inputs up to date first, each once, however many ways lead there.
/// Then, if the object must update, it takes the time, works, and bears that time afterwards, whether the work
/// succeeded or not. So a trigger fires once, and a value that is set while the work goes on is seen by the next
/// update. An object that failed has failed until an update succeeds. A status stands until the object sets another; an
/// update clears only what a failure left.
class VObject : public Holdfast::Managed, public VSlotContainer, public StatusIndicator {
public:
    explicit VObject(std::string name) : name_(std::move(name)) {}

    /// With a slot for each parameter of the table, in its order.
    VObject(std::string name, const ParameterTable& parameters);

    /// The name of the object in its network.
    const std::string& BaseName() const { return name_; }
    void rename(const std::string& name) { name_ = name; }

    /// Brings the object up to date for the request. `precision` says how exact a preview has to be, 1 for all of it.
    /// False when an object that this one needs, or this one, failed: then its status says why, and nothing changed.
    /// Nothing is thrown, whatever a module or a notifier throws.
    bool update(const VRequest& request, double precision = 1) noexcept;

    /// Whether an update would do anything, the inputs left aside: it was never updated in this pool, or something that
    /// it reads was set since.
    virtual bool must_update(const VRequest& request, double precision);

    /// The creator that made this object; null when it was made otherwise.
    Holdfast::StrongPtr<VCreatorBase> creator() const { return creator_.lock(); }
    void setCreator(const Holdfast::WeakPtr<VCreatorBase>& creator) { creator_ = creator; }

    /// The name for a new object: the requested one, or else the creator's name. Belongs to the catalogue.
    static std::string makeChildname(const VCreatorBase& creator, const std::string& requestedName);

    /// The name when it is not taken, else with the first number behind it, from 2 on, that makes it one that is not.
    static std::string createChildname(const std::string& name,
                                       const std::function<bool(const std::string& name)>& isTaken);

    /// What the input rule of the object's module says to a candidate; nothing when it has none. Belongs to the
    /// catalogue.
    std::optional<VAcceptList> accept(const VSlot& candidate, const ValuePool& pool) const;

protected:
    /// The work itself, on inputs that are up to date. May throw; false and a status when it failed.
    virtual bool unsychronized_update(VRequest& request, double precision) = 0;

    const std::string& statusName() const override { return name_; }

private:
    bool bringUpToDate(const VRequest& request, double precision);
    bool updateSources(const VRequest& request, double precision);
    void fail(const ValuePool& pool, const std::string& why) noexcept;

    std::string name_;
    Holdfast::WeakPtr<VCreatorBase> creator_;
    std::map<std::uint64_t, bool> failed_; // the pools in which the last update failed; true: because of a source
};

template <class T>
TypedSlot<T>::TypedSlot(VObject& owner, const std::string& name, const T& initialValue, int expertLevel)
    : slot_(Holdfast::create<VSlot>(
          owner, ParameterIntroduction{.name = name, .initial = initialValue, .expertLevel = expertLevel})),
      initial_(initialValue) {
    owner.addSlot(slot_);
}

template <class T>
TypedSlot<T>::TypedSlot(const VObject& owner, const std::string& name) : slot_(owner.findSlot(name)), initial_() {
    if (!slot_ || slot_->parameter()->introduction().initial.type() != typeid(T))
        throw std::logic_error(owner.BaseName() + " has no parameter \"" + name + "\" of type " +
                               Holdfast::Typename(typeid(T)) + ".");
}

} // namespace Kesh
