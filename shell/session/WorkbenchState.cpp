// SPDX-License-Identifier: Apache-2.0
#include "session/WorkbenchState.hpp"

namespace corvane {

bool WorkbenchState::isLocked(int value) const { return isLockedClass(*labels, value); }

} // namespace corvane
