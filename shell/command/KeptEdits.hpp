// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "command/CommandSession.hpp"
#include "store/EditStore.hpp"

#include <string>

namespace corvane {

/// The edit store of a survey. Throws Failure when there is none, or it is of another survey.
EditStore openEdits(const GlobalOptions& options, const std::string& survey, EditStore::Access access);

/// "2026-03-12 14:03:59", of this place. `time` is in seconds since 1970.
std::string timeText(std::int64_t time);

} // namespace corvane
