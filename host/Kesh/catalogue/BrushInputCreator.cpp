// SPDX-License-Identifier: Apache-2.0
#include "Kesh/catalogue/BrushInputCreator.hpp"

namespace Kesh {

VAcceptList acceptBrush(const VSlot& candidate, const ValuePool& pool) {
    const auto value = candidate.getValueBase(pool);
    if (value && value->type() == typeid(Brush)) return VAcceptList() & VAcceptInfo{"It holds a brush."};
    return VAcceptList::refusal("\"" + candidate.name() + "\" holds no brush.");
}

} // namespace Kesh
