// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

namespace Kesh {

/// Prints diagnostics, in the form of printf. What has a higher verbosity than the set one (at first 0) is dropped.
__attribute__((format(printf, 2, 3))) void Vprintf(int verbosity, const char* format, ...);

void setVerbosity(int verbosity);

/// Where diagnostics go; at first standard output.
void setVprintfSink(std::function<void(const std::string&)> sink);

} // namespace Kesh
