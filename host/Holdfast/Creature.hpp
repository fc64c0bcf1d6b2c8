// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Holdfast/Pointer.hpp"

namespace Holdfast {

/// Makes data on demand and can make it again.
class Creature : public Managed {
public:
    /// Whether the data is resident now.
    virtual bool hasData() const = 0;

    /// Lets go of the resident data, which will be made again when asked for. False when that cannot be: it was
    /// modified and is nowhere stored, somebody is using it, or caching was switched off by `enableCaching(false)`.
    virtual bool discardCreation() = 0;

    /// Whether the cache may drop the data when memory is short; it may at first.
    virtual void enableCaching(bool enabled) { cachingEnabled_ = enabled; }
    bool cachingEnabled() const { return cachingEnabled_; }

private:
    bool cachingEnabled_ = true;
};

} // namespace Holdfast
