// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Holdfast/Pointer.hpp"

#include <cstdint>

namespace Fiber {

/// Names one fragment of the fields of a representation; the same number is the same block of vertices in all of them.
class FragmentID : public Holdfast::Managed {
public:
    explicit FragmentID(std::uint32_t number) : number_(number) {}
    std::uint32_t number() const { return number_; }

private:
    std::uint32_t number_;
};

} // namespace Fiber
