// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace corvane {

constexpr int RenderNiceness = 2, LoaderNiceness = 5;

/// Lets other threads go before the calling one, and those that it starts. Where that is not to be had nothing happens.
void lowerPriority(int niceness);

} // namespace corvane
