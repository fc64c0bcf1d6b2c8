// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/Selectors.hpp"
#include "Kesh/objects/VCreationPreferences.hpp"
#include "Kesh/objects/VObject.hpp"

#include <string>

namespace Kesh {

/// Base of modules that make a grid: it is their output, under the name that the module gives it.
class GridProviderObject : public VObject {
public:
    using Provided = Fiber::Grid;

    /// The integer is the expert level of the output; `own` are the parameters after it.
    GridProviderObject(const std::string& name, int expertLevel,
                       const Holdfast::StrongPtr<VCreationPreferences>& preferences, const std::string& gridName,
                       const ParameterTable& own = {});

    /// The parameters of this base.
    static ParameterTable parameters(const std::string& gridName, int expertLevel = 0);

protected:
    /// Makes the grid and publishes it.
    bool unsychronized_update(VRequest& request, double precision) final;

    /// The grid that takes the place of the one before; an empty selection for none.
    virtual Fiber::GridSelector provide(const VRequest& request) = 0;

private:
    TypedSlot<Fiber::GridSelector> grid_;
};

} // namespace Kesh
