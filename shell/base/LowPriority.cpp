// SPDX-License-Identifier: Apache-2.0
#include "base/LowPriority.hpp"

#include <sys/resource.h>

namespace corvane {

void lowerPriority(int niceness) {
    setpriority(PRIO_PROCESS, 0, niceness); // of this thread alone, as Linux has it
}

} // namespace corvane
