// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace corvane {

/// Of the threads beside that of a window: what somebody waits for goes first.
constexpr int UpdateNiceness = 2, RenderNiceness = 3, LoaderNiceness = 6;

/// Lets other threads go before the calling one, and those that it starts. Where that is not to be had nothing happens.
void lowerPriority(int niceness);

} // namespace corvane
