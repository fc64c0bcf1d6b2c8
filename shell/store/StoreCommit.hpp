// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "store/StoreRecords.hpp"

namespace corvane {

class StoreState;

/// Writes what a commit says into the tables, inside the caller's transaction, and does the same to what is in memory.
/// When it throws, the transaction must be taken back and memory read again.
Committed carryOut(const Commit& commit, StoreState& state);

} // namespace corvane
