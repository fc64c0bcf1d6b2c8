// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "json/Document.hpp"

#include <vector>

namespace corvane {

/// Joins what led to several updates ({"objects", "connections", "actions"} each) into one network file without a
/// survey, which does them one after the other. Those with the same objects share them, and values that have changed in
/// between are set; of others that have the same names the later get new ones. Throws Failure for what is none.
json::Value replayNetwork(const std::vector<json::Value>& updates);

} // namespace corvane
