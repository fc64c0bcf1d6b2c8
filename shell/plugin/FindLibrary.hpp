// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace corvane {

/// Where a library lies that is loaded at run time: beside the program, in the build tree, or where it was installed,
/// a folder relative to the program's. Throws Failure with the places when it is in none of them; the message begins
/// with what is missing and ends with the advice.
std::string findLibrary(const std::string& file, const std::string& installed, const std::string& what,
                        const std::string& advice);

} // namespace corvane
