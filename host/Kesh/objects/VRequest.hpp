// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Holdfast/Ageable.hpp"
#include "Holdfast/TimeBudget.hpp"
#include "Kesh/objects/ValuePool.hpp"

#include <map>

namespace Kesh {

class VObject;

/// Asks objects to be up to date in a context.
struct VRequest {
    explicit VRequest(Holdfast::StrongPtr<ValuePool> context, Holdfast::TimeBudget limit = {})
        : pool(std::move(context)), budget(limit) {}

    Holdfast::StrongPtr<ValuePool> pool;
    Holdfast::TimeBudget budget;

    /// When the update that is running began. What it changes and publishes bears this time.
    Holdfast::Ageable::Age time = Holdfast::Ageable::Ooooold;

private:
    friend class VObject;
    std::map<const VObject*, bool>* visited_ = nullptr; // objects that this request has reached, and how it went there
};

} // namespace Kesh
