// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/Field.hpp"

#include <cstdint>
#include <map>

namespace corvane {

/// Points per value that occurs.
using ClassCounts = std::map<int, std::uint64_t>;

/// Counts a field of integers of 8 or 16 bits, loading it fragment by fragment. Throws Failure for other types.
ClassCounts countClasses(const Fiber::Field& field);

/// How many points have another value than before, when all of them got the same one.
std::uint64_t changedPoints(const ClassCounts& before, const ClassCounts& after);

} // namespace corvane
