// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "session/Session.hpp"

#include <array>
#include <functional>
#include <optional>
#include <string>

namespace corvane {

/// How the window is opened.
struct WindowOptions {
    SessionOptions session;
    std::string file;                       ///< to open; empty: none yet
    std::optional<std::array<int, 2>> size; ///< logical pixels; none: as it was the last time
    int views = 0;                          ///< 1, 2 or 4; 0: as it was the last time
    std::string theme;                      ///< "auto", "light" or "dark"; empty: as it was the last time
    std::string screenshot;                 ///< a PNG file to write when the picture is complete, instead of waiting
    bool overwrite = false;                 ///< a screenshot that exists
    std::function<bool()> shouldClose;      ///< asked now and then; may be empty
};

/// What the library with the window offers under this name. Returns the status to end with.
using OpenWindow = int(const WindowOptions& options);
constexpr char OpenWindowName[] = "corvaneOpenWindow";

/// Loads that library and opens the window; returns when it is closed. Throws Failure where it is not installed, or
/// there is no display.
int openWindow(const WindowOptions& options);

} // namespace corvane
