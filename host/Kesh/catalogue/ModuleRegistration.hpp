// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/catalogue/FieldInputCreator.hpp"
#include "Kesh/objects/Vprintf.hpp"
#include "VInitialization.hpp"

#include <cstdio>
#include <string>
#include <vector>

namespace Kesh {

/// How a module introduces itself to the catalogue.
struct ModuleIntroduction {
    std::string domain;                    ///< empty: none
    std::vector<std::string> descriptions; ///< the long one first
    std::string buildDate;                 ///< in the compiler's form, "Sep  8 2026"
    std::string name;                      ///< empty: the base name of the source file
    std::string sourceFile;
    std::string category; ///< the menu that lists the module
    int integer = 0;
    ParameterTable parameters; ///< of all bases and the module, as its objects have them
};

/// The properties of an introduction, in the order in which the shell expects them.
inline VCreatorProperties propertiesOf(const ModuleIntroduction& introduction) {
    VCreatorProperties properties;
    const auto add = [&](CreatorProperty key, const std::string& text) { properties = properties.merge({key, text}); };
    add(CreatorProperty::Domain, introduction.domain);
    for (const std::string& description : introduction.descriptions) add(CreatorProperty::Description, description);
    add(CreatorProperty::BuildDate, introduction.buildDate);
    add(CreatorProperty::Name,
        introduction.name.empty() ? nameFromSourceFile(introduction.sourceFile) : introduction.name);
    add(CreatorProperty::SourceFile, introduction.sourceFile);
    add(CreatorProperty::Category, introduction.category);
    properties.setParameters(introduction.parameters);
    return properties;
}

/// Lists a module in the catalogue from its construction to its destruction: one static object per catalogue entry.
/// `InputCreator` supplies `Module::Provided` from what the module accepts; `ParameterTypes` are those of its slots.
template <class Module, class Creator, class InputCreator, class... ParameterTypes>
class ModuleRegistration {
public:
    explicit ModuleRegistration(const ModuleIntroduction& introduction) {
        ensureValueCreator<double>(); // shared by all, and first
        creator_ = Holdfast::create<Creator>(propertiesOf(introduction), introduction.integer, nullptr, false,
                                             CorvInterfaceVersion);
        VCreatorBase::enlist(creator_);
        Vprintf(100, "VCreator::VCreator(%s,%d)\n", creator_->key().c_str(), introduction.integer);
        std::fflush(stdout);
        inputCreator_ = Holdfast::create<InputCreator>(Holdfast::WeakPtr<Creator>(creator_));
        registerInputOrWarn(typeid(Provided), inputCreator_, typeid(Creator));
        (ensureValueCreator<ParameterTypes>(), ...);
    }

    ~ModuleRegistration() {
        unregisterVInput(typeid(Provided), inputCreator_);
        VCreatorBase::deleteAllInstances(typeid(Module));
    }

    ModuleRegistration(const ModuleRegistration&) = delete;
    ModuleRegistration& operator=(const ModuleRegistration&) = delete;

private:
    using Provided = typename Module::Provided;
    Holdfast::StrongPtr<Creator> creator_;
    Holdfast::StrongPtr<VInputCreatorBase> inputCreator_;
};

/// The registration of a module whose input is a field with elements of 8 or 16 bits, unsigned.
template <class Module, class... ParameterTypes>
using FieldModuleRegistration =
    ModuleRegistration<Module, CorvaneCreator<Module, AcceptList<Fiber::Field, unsigned char, unsigned short>>,
                       FieldInputCreator<Module, typename Module::Provided, unsigned char, unsigned short>,
                       ParameterTypes...>;

} // namespace Kesh
