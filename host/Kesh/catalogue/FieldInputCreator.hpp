// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/Selectors.hpp"
#include "Kesh/catalogue/VInput.hpp"

namespace Kesh {

/// Whether a candidate offers a field of one of the types, on a grid with the property. A provider of fields that has
/// none to offer yet is acceptable at half weight; what has no parameter for fields is not.
VAcceptList acceptField(const VSlot& candidate, const ValuePool& pool, const Fiber::TypeList& types,
                        Fiber::BundleProperty property);

/// The input specification of a module that works on a `Type` whose elements are one of `Elements`.
template <class Type, class... Elements>
struct AcceptList {
    static std::vector<std::string> acceptedTypes() { return Fiber::TypeList::of<Elements...>().asText(); }
};

/// Supplies `Provided` from a field of one of the element types, by making a `Module` on it.
template <class Module, class Provided, class... Elements>
class FieldInputCreator
    : public VInputCreator<Provided, CorvaneCreator<Module, AcceptList<Fiber::Field, Elements...>>> {
public:
    using VInputCreator<Provided, CorvaneCreator<Module, AcceptList<Fiber::Field, Elements...>>>::VInputCreator;

    VAcceptList accept(const VSlot& candidate, const ValuePool& pool) const override {
        return acceptField(candidate, pool, Fiber::TypeList::of<Elements...>(), Fiber::BundleProperty::Anything);
    }
};

} // namespace Kesh
