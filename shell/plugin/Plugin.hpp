// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace corvane {

/// A plug-in that is loaded: its modules are in the catalogue until this is destroyed. Everything that its modules made
/// must be gone by then.
class Plugin {
public:
    /// Throws Failure when the library cannot be loaded, is no plug-in for this shell, or was built against another
    /// version of the interface.
    explicit Plugin(const std::string& path);
    ~Plugin();
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

private:
    void* library_;
};

/// Where the plug-in lies if nobody says otherwise: beside the program, in the build tree, or where it was installed.
/// Throws Failure with the places when it is in none of them.
std::string findPlugin();

} // namespace corvane
