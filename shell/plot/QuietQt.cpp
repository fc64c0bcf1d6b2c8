// SPDX-License-Identifier: Apache-2.0
#include "plot/QuietQt.hpp"

#include "base/Failure.hpp"

#include <QFontInfo>

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace corvane {
namespace {

char program[] = "corvane", option[] = "-platform", platform[] = "offscreen";

int standardError = -1; // while it is taken away

/// Qt ends the program after a fatal message, and cannot be kept from it; so the sentence is said here.
void swallow(QtMsgType type, const QMessageLogContext&, const QString& text) {
    if (type != QtFatalMsg) return;
    dprintf(standardError, "corvane: The picture cannot be drawn: %s\n", qPrintable(text.simplified()));
    std::fflush(nullptr);
    std::_Exit(EXIT_FAILURE);
}

} // namespace

QuietQt::Silence::Silence() {
    std::fflush(stderr);
    standardError = dup(STDERR_FILENO);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDERR_FILENO);
    close(nowhere);
    qInstallMessageHandler(swallow); // for good: Qt speaks even when the program ends
    for (const char* name : {"QT_QPA_PLATFORMTHEME", "QT_STYLE_OVERRIDE", "QT_SCALE_FACTOR", "QT_FONT_DPI"})
        qunsetenv(name);
}

QuietQt::Silence::~Silence() {
    dup2(standardError, STDERR_FILENO);
    close(standardError);
}

QuietQt::QuietQt() : arguments_{program, option, platform, nullptr}, application_(count_, arguments_.data()) {
    if (QFontInfo(QFont()).family().isEmpty()) // the font that would be taken
        throw Failure("The picture cannot be drawn: there are no fonts on this machine. Install some, such as DejaVu "
                      "Sans (Debian: fonts-dejavu-core).");
}

} // namespace corvane
