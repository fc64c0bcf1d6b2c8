// SPDX-License-Identifier: Apache-2.0
// The one function that the program calls.
#include "base/Failure.hpp"
#include "session/WindowLibrary.hpp"
#include "window/MainWindow.hpp"
#include "window/Screenshot.hpp"

#include <QApplication>
#include <QFontInfo>
#include <QTimer>

#include <array>
#include <cstdio>
#include <cstdlib>

namespace corvane {
namespace {

constexpr int AskEvery = 100; // milliseconds

/// Without a display Qt would end the program.
void requireDisplay(const WindowOptions& options) {
    if (!options.screenshot.empty()) qputenv("QT_QPA_PLATFORM", "offscreen");
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY") &&
        qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        throw Failure("There is no display to open a window on. Log in at a desktop, or write a picture with corvane "
                      "open FILE --screenshot OUT.png.");
}

/// Qt speaks of its own affairs; what concerns the user is said, and ends the program: a display that cannot be reached
/// is no reason for the image of a crash.
void onlyFatal(QtMsgType type, const QMessageLogContext&, const QString& text) {
    static QString reason; // at the start, of the one thread that there is, it comes as a warning before
    if (type == QtWarningMsg && QCoreApplication::startingUp()) reason = text;
    if (type != QtFatalMsg) return;
    std::fprintf(stderr, "corvane: There is no window: %s.\n",
                 qPrintable((QCoreApplication::startingUp() && !reason.isEmpty() ? reason : text).simplified()));
    std::_Exit(EXIT_FAILURE);
}

int show(const WindowOptions& options) {
    requireDisplay(options);
    qInstallMessageHandler(onlyFatal);
    // Nothing is drawn with OpenGL, whose drivers take time to load and may be broken.
    if (qEnvironmentVariableIsEmpty("QT_XCB_GL_INTEGRATION")) qputenv("QT_XCB_GL_INTEGRATION", "none");
    // Without a display the pixels are those of the picture; QT_SCALE_FACTOR counts all the same.
    QApplication::setAttribute(options.screenshot.empty() ? Qt::AA_EnableHighDpiScaling : Qt::AA_DisableHighDpiScaling);
    QApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
    char program[] = "corvane";
    std::array<char*, 2> arguments{program, nullptr};
    int count = 1;
    QApplication application(count, arguments.data());
    if (QFontInfo(QFont()).family().isEmpty())
        throw Failure("The window cannot be drawn: there are no fonts on this machine. Install some, such as DejaVu "
                      "Sans (Debian: fonts-dejavu-core).");
    MainWindow window(options);
    window.show();
    const std::string& store = options.session.edits.path;
    if (!options.file.empty()) store.empty() ? window.open(options.file) : window.open(options.file, StorePlace{store});
    QTimer asking;
    QObject::connect(&asking, &QTimer::timeout, &window, [&] {
        if (options.shouldClose && options.shouldClose()) QApplication::exit(EXIT_FAILURE);
    });
    asking.start(AskEvery);
    std::unique_ptr<Screenshot> screenshot;
    if (!options.screenshot.empty()) screenshot = std::make_unique<Screenshot>(window, options);
    const int status = QApplication::exec();
    if (screenshot) screenshot->check();
    return status;
}

} // namespace
} // namespace corvane

extern "C" int corvaneOpenWindow(const corvane::WindowOptions& options) { return corvane::show(options); }
