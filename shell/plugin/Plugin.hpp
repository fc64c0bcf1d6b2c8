// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace corvane {

/// A plug-in that is loaded: its modules are in the catalogue until this is destroyed. Everything that its modules made
/// must be gone by then. A plug-in may be loaded several times, on several threads, from one file only.
class Plugin {
public:
    /// Throws Failure when the library cannot be loaded, is no plug-in for this shell, was built against another
    /// version of the interface, or is loaded already from another file: its modules would be listed twice.
    explicit Plugin(const std::string& path);
    ~Plugin();
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

private:
    std::string file_; // absolute
    void* library_;
};

/// Where the plug-in lies if nobody says otherwise; see `findLibrary`.
std::string findPlugin();

} // namespace corvane
