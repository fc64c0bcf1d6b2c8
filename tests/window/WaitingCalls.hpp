// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace corvane::test {

/// From now on calls in which the present thread would wait for others, or for a disc, are noted.
void watchThisThread();

/// The names of those calls since the last time.
std::vector<std::string> takeWaitingCalls();

/// How often a thread other than the first has changed the environment, which all of them read without a lock.
int environmentChanges();

} // namespace corvane::test
