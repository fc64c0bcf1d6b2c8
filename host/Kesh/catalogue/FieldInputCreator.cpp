// SPDX-License-Identifier: Apache-2.0
#include "Kesh/catalogue/FieldInputCreator.hpp"

#include "Holdfast/Typename.hpp"

namespace Kesh {

VAcceptList acceptField(const VSlot& candidate, const ValuePool& pool, const Fiber::TypeList& types,
                        Fiber::BundleProperty property) {
    if (candidate.sourceParameter()->introduction().initial.type() != typeid(Fiber::FieldSelector))
        return VAcceptList::refusal("\"" + candidate.name() + "\" offers no field.");
    const auto local = candidate.sourceParameter()->getLocalValue<Fiber::FieldSelector>(pool, "FieldInput");
    if (!local || local->value.NumberOfAvailableFields() == 0)
        return (VAcceptList() & VAcceptInfo{"Unitialized generic Field provider, might be suitable to provide the "
                                            "requested type, we don't know yet."}) *
               0.5;
    const Fiber::FieldSelector& selector = local->value;
    if (!hasProperty(selector, property)) return VAcceptList::refusal("The grid does not have the required property.");
    const Fiber::FieldSelection selection = selector.Selection();
    for (const std::type_info* type : types.types())
        if (selection.requiresType(*type))
            return VAcceptList() & VAcceptInfo{"Field qualifies to be of type " + Holdfast::Typename(*type)};
    return VAcceptList::refusal("Field \"" + selection.name + "\" is none of the types " +
                                types.asText().collapse(", ") + ".");
}

} // namespace Kesh
