// SPDX-License-Identifier: Apache-2.0
#include "Kesh/objects/GridProviderObject.hpp"

namespace Kesh {

GridProviderObject::GridProviderObject(const std::string& name, int expertLevel,
                                       const Holdfast::StrongPtr<VCreationPreferences>&, const std::string& gridName,
                                       const ParameterTable& own)
    : VObject(name, joined(parameters(gridName, expertLevel), own)), grid_(*this, gridName) {}

ParameterTable GridProviderObject::parameters(const std::string& gridName, int expertLevel) {
    return {{.name = gridName,
             .initial = Fiber::GridSelector(),
             .help = "The grid that was made; none before there is something to make it from.",
             .expertLevel = expertLevel,
             .isOutput = true}};
}

bool GridProviderObject::unsychronized_update(VRequest& request, double) {
    grid_->parameter()->setValue(*request.pool, Holdfast::create<VValue<Fiber::GridSelector>>(provide(request)),
                                 request.time);
    return true;
}

} // namespace Kesh
