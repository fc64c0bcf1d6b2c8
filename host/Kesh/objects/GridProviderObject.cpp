// SPDX-License-Identifier: Apache-2.0
#include "Kesh/objects/GridProviderObject.hpp"

namespace Kesh {

GridProviderObject::GridProviderObject(const std::string& name, int expertLevel,
                                       const Holdfast::StrongPtr<VCreationPreferences>&, const std::string& gridName)
    : VObject(name), grid_(*this, gridName, Fiber::GridSelector(), expertLevel) {
    grid_->parameter()->setHelp("The grid that was made; none before there is something to make it from.");
    registerOutput(grid_.slot());
}

bool GridProviderObject::unsychronized_update(VRequest& request, double) {
    grid_->parameter()->setValue(*request.pool, Holdfast::create<VValue<Fiber::GridSelector>>(provide(request)),
                                 request.time);
    return true;
}

} // namespace Kesh
