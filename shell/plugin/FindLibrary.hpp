// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace corvane {

/// Where a library lies that is loaded at run time. It belongs to the host's libraries, whoever the program is that
/// uses them: it lies beside them, in their folder "plugins", or, in the build tree, in a folder "plugins" beside
/// theirs. Throws Failure with the places when it is in none of them; the message begins with what is missing and ends
/// with the advice.
std::string findLibrary(const std::string& file, const std::string& what, const std::string& advice);

} // namespace corvane
