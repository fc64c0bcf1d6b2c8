// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "store/EditStore.hpp"
#include "json/Document.hpp"

#include <map>
#include <string>

namespace corvane {

/// The actions of an edit, {"objects", "connections", "actions"} as JSON, with those that led to the selection which it
/// uses up: an applied mask goes with its history, but who does the edit again has to draw it. They stand beside as
/// "strokes", a list of the same with the number of their "update", since other edits may lie between. `commit` is what
/// the edit is about to change in the store. Strokes that cannot be done again make the edit one that cannot, {}.
std::string withStrokes(const EditStore& store, const Commit& commit, const std::string& actions);

/// Takes an update's actions and the strokes beside them apart, each under its number.
void addActions(std::map<UpdateId, json::Value>& updates, UpdateId update, json::Value actions);

} // namespace corvane
