// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "window/MainWindow.hpp"

#include <QTimer>

namespace corvane {

/// Waits until the picture of a window is complete, writes it as a PNG file, and ends the application.
class Screenshot {
public:
    Screenshot(MainWindow& window, const WindowOptions& options);

    /// Throws Failure when there is none, with what was said in the window.
    void check() const;

private:
    void look();
    void write();

    MainWindow& window_;
    const WindowOptions& options_;
    QTimer timer_;
    int quiet_ = 0; // times in a row that nothing was under way
    std::string failure_;
};

} // namespace corvane
