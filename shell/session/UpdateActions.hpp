// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "store/EditStore.hpp"
#include "json/Document.hpp"

#include <string>

namespace corvane {

/// An attribute of a mask that holds what no step explains.
constexpr char UnexplainedMask[] = "unexplained";

/// The actions of an update, {"objects", "connections", "actions"} as JSON, as they are kept with it: together with
/// what whoever does it again has to find, and with what led to a selection that it uses up, since the mask goes with
/// its history. `commit` is what the update is about to change in the store. {} where nobody could do it again.
std::string actionsToKeep(const EditStore& store, const Commit& commit, const std::string& actions);

/// A network that does again what is done at present, on another survey. Throws Failure, with the first update that
/// cannot be: what no network did, what is undone in part, and what was done when other steps were than would be.
json::Value replayOf(const EditStore& store);

} // namespace corvane
