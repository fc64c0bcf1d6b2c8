// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "session/WorkbenchState.hpp"

#include <string>

namespace corvane {

inline constexpr char MaskName[] = "mask"; ///< as editors call it

/// Arrays of the mask in which something may be selected.
ArraysByFragment selectedArrays(const Fiber::Representation& points);

bool anySelected(const Fiber::Representation& points);

/// What is selected of a field, as the module that counts says. Throws as countPoints does.
MaskSummary maskSummary(const Survey& survey, const std::string& field, const Watch& watch);

} // namespace corvane
