// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Holdfast/Pointer.hpp"

#include <atomic>
#include <cstdint>

namespace Kesh {

/// A trigger. A parameter of type StrongPtr<VAction> fires when a fresh action is set, whatever the action is.
class VAction : public Holdfast::Managed {
public:
    std::uint64_t identifier() const { return identifier_; }

private:
    static inline std::atomic<std::uint64_t> counter{0};
    std::uint64_t identifier_ = ++counter;
};

/// What a parameter that is a trigger holds.
using Action = Holdfast::StrongPtr<VAction>;

} // namespace Kesh
