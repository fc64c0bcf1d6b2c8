// SPDX-License-Identifier: Apache-2.0
#include "session/WindowLibrary.hpp"

#include "base/Failure.hpp"
#include "plugin/FindLibrary.hpp"

#include <dlfcn.h>
#include <fmt/format.h>

namespace corvane {

int openWindow(const WindowOptions& options) {
    const std::string path = findLibrary("CorvaneWindow.so", "The library with the window",
                                         "Install the package corvane-window, or build or install all of Corvane.");
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL); // for good: Qt cannot be unloaded
    if (!library)
        throw Failure(
            fmt::format("{}: cannot be loaded, so no window can be opened: {}. Install the package corvane-window "
                        "again.",
                        path, dlerror()));
    if (void* entry = dlsym(library, OpenWindowName)) return reinterpret_cast<OpenWindow*>(entry)(options);
    throw Failure(fmt::format("{}: belongs to another version of this program, since it has no \"{}\"; install or "
                              "build both together.",
                              path, OpenWindowName));
}

} // namespace corvane
