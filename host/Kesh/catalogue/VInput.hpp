// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/catalogue/AcceptList.hpp"
#include "Kesh/catalogue/VCreator.hpp"

#include <functional>
#include <string>
#include <typeinfo>

namespace Kesh {

/// Can supply an input of some type by making an object on something else: labels from a field, a shape from a brush.
class VInputCreatorBase : public Holdfast::Managed {
public:
    /// Whose part this is.
    virtual Holdfast::StrongPtr<VCreatorBase> owner() const = 0;

    /// Whether the object could be made on this candidate, an output of some object.
    virtual VAcceptList accept(const VSlot& candidate, const ValuePool& pool) const = 0;

    /// Makes the object and connects its input to the candidate. Null when they cannot be connected.
    virtual Holdfast::StrongPtr<VObject> createOn(const Holdfast::StrongPtr<VSlot>& candidate,
                                                  const std::string& name) const = 0;
};

/// The part of a creator that supplies inputs of type `Provided`.
template <class Provided, class Creator>
class VInputCreator : public VInputCreatorBase {
public:
    explicit VInputCreator(const Holdfast::WeakPtr<Creator>& creator) : creator_(creator) {}

    Holdfast::StrongPtr<VCreatorBase> owner() const override { return creator_.lock(); }

    Holdfast::StrongPtr<VObject> createOn(const Holdfast::StrongPtr<VSlot>& candidate,
                                          const std::string& name) const override {
        const auto creator = creator_.lock();
        const auto object = creator ? creator->create(name, nullptr) : nullptr;
        if (!object) return nullptr;
        for (const auto& slot : object->allSlots())
            if (object->connectSlots(*slot, candidate)) return object;
        VCreatorBase::deleteInstance(object);
        return nullptr;
    }

private:
    Holdfast::WeakPtr<Creator> creator_;
};

/// Offers the input creator to all who look for a provider of the type. False when it is gone, or offered already.
bool registerVInput(const std::type_info& provided, const Holdfast::WeakPtr<VInputCreatorBase>& inputCreator);

/// Withdraws the offers for the type whose input creators are gone, and this one.
void unregisterVInput(const std::type_info& provided, const Holdfast::WeakPtr<VInputCreatorBase>& inputCreator);

/// Registers; where that fails, prints a warning and sends it to the action notifiers.
void registerInputOrWarn(const std::type_info& provided, const Holdfast::StrongPtr<VInputCreatorBase>& inputCreator,
                         const std::type_info& creator);

/// What may follow from offering something to an input.
struct InputConnection {
    Holdfast::StrongPtr<VObject> provider; ///< the object made for it; null when none was needed or none could be had
    bool connected = false;
    std::string refusals; ///< why not, one reason per line
};

/// Whether an object of the network that something is connected in has this name.
using IsTaken = std::function<bool(const std::string& name)>;

/// Connects an input to anything: to the output itself where the types are the same; else the registered input creators
/// of the type that the input takes are asked, best weight first, and the first that can makes an object in between,
/// under the name of its module or one like it that is not taken. `provided` is the type to look for, e.g. Fiber::Field
/// for an input that selects a field.
InputConnection connectFromAnything(VObject& object, VSlot& input, const Holdfast::StrongPtr<VSlot>& candidate,
                                    const std::type_info& provided, const ValuePool& pool, const IsTaken& isTaken);

} // namespace Kesh
