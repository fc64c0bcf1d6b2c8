// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

namespace corvane {

enum class LockKind {
    Shared,   ///< by any number of descriptors at a time
    Exclusive ///< by one, which is open for writing
};

enum class Locked {
    Yes,
    Held, ///< others have a lock that excludes it
    No    ///< errno says why; file systems may know no locks
};

/// Locks a file by a byte far behind its end, for a descriptor of it and those that were made of that one: descriptors
/// that were opened by themselves exclude each other in one process, too. It goes when the last of them is closed. One
/// that has a lock may have the other kind afterwards. Waits at most so long while others have it.
Locked lockFile(int descriptor, LockKind kind, std::chrono::milliseconds patience = {});

/// Gives the lock up.
void unlockFile(int descriptor);

} // namespace corvane
