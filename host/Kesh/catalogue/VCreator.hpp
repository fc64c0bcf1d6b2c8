// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/catalogue/VCreatorProperties.hpp"
#include "Kesh/objects/VCreationPreferences.hpp"
#include "Kesh/objects/VObject.hpp"

#include <string>
#include <typeinfo>
#include <vector>

namespace Kesh {

/// Makes the objects of one module. All creators together are the catalogue.
///
/// Objects belong to the registry of instances: a creator's library may be unloaded, and must take its objects with it.
/// Others hold them weakly, and strongly only while they call them.
class VCreatorBase : public Holdfast::Managed {
public:
    /// The integer is the module's own and only shown. The flag is always false so far. The version is that of the
    /// interface that the module was built against.
    VCreatorBase(const std::type_info& module, VCreatorProperties properties, int integer,
                 Holdfast::StrongPtr<VCreationPreferences> preferences, bool flag, std::string interfaceVersion);
    ~VCreatorBase() override;

    const VCreatorProperties& properties() const { return properties_; }
    std::string name() const { return properties_.text(CreatorProperty::Name); }
    std::string key() const { return properties_.key("/"); }
    int integer() const { return integer_; }
    const std::string& interfaceVersion() const { return interfaceVersion_; }

    /// What the module's input accepts, and what the module provides: names of types.
    virtual std::vector<std::string> acceptedTypes() const = 0;
    virtual std::string providedType() const = 0;

    /// Makes an object. Throws what the module's constructor throws.
    Holdfast::StrongPtr<VObject> create(const std::string& requestedName,
                                        const Holdfast::StrongPtr<VCreationPreferences>& preferences);

    /// Gives up an object, or all objects of a module's class.
    static void deleteInstance(const Holdfast::WeakPtr<VObject>& object);
    static void deleteAllInstances(const std::type_info& module);

    /// The creators that exist, in the order of registration.
    static std::vector<Holdfast::StrongPtr<VCreatorBase>> catalogue();

    /// The first in the catalogue with this key; null when there is none.
    static Holdfast::StrongPtr<VCreatorBase> find(const std::string& key);

    /// Lists the creator in the catalogue, until it is destroyed.
    static void enlist(const Holdfast::StrongPtr<VCreatorBase>& creator);

protected:
    virtual Holdfast::StrongPtr<Holdfast::Managed>
    construct(const std::string& name, const Holdfast::StrongPtr<VCreationPreferences>& preferences) const = 0;

private:
    const std::type_info& module_;
    VCreatorProperties properties_;
    int integer_;
    Holdfast::StrongPtr<VCreationPreferences> preferences_;
    std::string interfaceVersion_;
};

/// A creator as the shell's modules have them.
class CorvaneCreatorBase : public VCreatorBase {
public:
    using VCreatorBase::VCreatorBase;
};

/// The creator of `Module`, whose input is of the kind that `InputSpecification` says.
template <class Module, class InputSpecification>
class CorvaneCreator : public CorvaneCreatorBase {
public:
    CorvaneCreator(const VCreatorProperties& properties, int integer,
                   const Holdfast::StrongPtr<VCreationPreferences>& preferences, bool flag,
                   const std::string& interfaceVersion)
        : CorvaneCreatorBase(typeid(Module), properties, integer, preferences, flag, interfaceVersion) {}

    std::vector<std::string> acceptedTypes() const override { return InputSpecification::acceptedTypes(); }
    std::string providedType() const override { return Holdfast::Typename(typeid(typename Module::Provided)); }

protected:
    Holdfast::StrongPtr<Holdfast::Managed>
    construct(const std::string& name, const Holdfast::StrongPtr<VCreationPreferences>& preferences) const override {
        return Holdfast::create<Module>(name, preferences);
    }
};

} // namespace Kesh
