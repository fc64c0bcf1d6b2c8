// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/Selectors.hpp"
#include "Kesh/values/VHistogram.hpp"

#include <cstdint>
#include <map>

namespace corvane {

/// Points per value that occurs.
using ClassCounts = std::map<int, std::uint64_t>;

ClassCounts classCounts(const Kesh::VHistogram& histogram);

/// Counts all of a field with the catalogue's module for that, loading fragment by fragment. What was counted before
/// and did not change is not read again. Throws Failure for fields that are not unsigned integers of 8 or 16 bits, and
/// when it is interrupted.
Kesh::VHistogram countWhole(const Fiber::FieldSelector& field);

/// How many points have another value than before, when all of them got the same one.
std::uint64_t changedPoints(const ClassCounts& before, const ClassCounts& after);

} // namespace corvane
