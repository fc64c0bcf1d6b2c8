// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/catalogue/VInput.hpp"

namespace Kesh {

/// Whether a candidate offers a brush. One that holds no stroke yet does, too.
VAcceptList acceptBrush(const VSlot& candidate, const ValuePool& pool);

/// The input specification of a module that works on a brush.
struct AcceptBrush {
    static std::vector<std::string> acceptedTypes() { return {Holdfast::Typename(typeid(Brush))}; }
};

/// Supplies `Provided` from a brush, by making a `Module` on it.
template <class Module, class Provided>
class BrushInputCreator : public VInputCreator<Provided, CorvaneCreator<Module, AcceptBrush>> {
public:
    using VInputCreator<Provided, CorvaneCreator<Module, AcceptBrush>>::VInputCreator;

    VAcceptList accept(const VSlot& candidate, const ValuePool& pool) const override {
        return acceptBrush(candidate, pool);
    }
};

} // namespace Kesh
