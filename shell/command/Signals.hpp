// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace corvane {

/// From now on SIGINT, SIGTERM and SIGHUP (unless it is ignored, as under nohup) ask the work to stop, so that it can
/// clean up. A second signal ends the program at once, without temporary files.
void listenForSignals();

/// The signal that asked to stop; 0 for none.
int caughtSignal();

/// Ends the program by the signal, as if it had not been caught: so a shell's loop ends, too.
[[noreturn]] void dieOf(int signal);

} // namespace corvane
