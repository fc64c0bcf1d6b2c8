// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "command/CommandSession.hpp"
#include "store/EditStore.hpp"

#include <string>

namespace corvane {

/// The edit store of a survey. Throws Failure when there is none, or it is of another survey.
EditStore openEdits(const GlobalOptions& options, const std::string& survey, EditStore::Access access);

/// "12 March 2026 14:03"
std::string timeText(std::int64_t time);

} // namespace corvane
