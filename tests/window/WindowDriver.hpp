// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "../support/Files.hpp"
#include "window/MainWindow.hpp"

#include <QAction>
#include <QSettings>
#include <QTest>
#include <QWheelEvent>
#include <QWindow>

#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

namespace corvane::test {

/// A window that is used as by somebody with mouse and keys: events go to the window, not to its widgets.
class WindowDriver {
public:
    explicit WindowDriver(int views = 1, const std::string& plugin = CORVANE_PLUGIN) {
        QSettings(QStringLiteral("corvane"), QStringLiteral("window")).clear();
        WindowOptions options;
        options.session.pluginPath = plugin;
        options.size = {{1100, 800}};
        options.views = views;
        options.theme = "dark";
        window_ = std::make_unique<MainWindow>(options);
        window_->show();
        window_->activateWindow();
        until([&] { return window_->isActiveWindow(); });
    }

    MainWindow& window() { return *window_; }
    Workplace& work() { return window_->work(); }
    const WorkbenchState& state() { return work().state(); }
    View& view(int number = ViewGrid::Plan) { return work().grid().view(number); }

    /// Lets the window work until this holds; false when it does not for very long.
    template <class Condition>
    bool until(Condition holds) {
        constexpr int patience = 60'000; // milliseconds, of a machine that does something else
        return QTest::qWaitFor([&] { return holds(); }, patience);
    }

    /// Until the window shows all there is, and everything asked for is done.
    void settle() {
        EXPECT_TRUE(until([&] { return work().isComplete() && state().countsComplete; })) << said();
    }

    void open(const std::string& path) {
        window_->open(QString::fromStdString(path));
        EXPECT_TRUE(until([&] { return work().isOpen() && state().path == path; })) << said();
        settle();
    }

    std::string said() const { return window_->said().toStdString(); }

    void key(Qt::Key key, Qt::KeyboardModifiers with = Qt::NoModifier) { QTest::keyClick(handle(), key, with); }

    void drag(View& view, const std::vector<QPointF>& places, Qt::KeyboardModifiers with = Qt::NoModifier,
              Qt::MouseButton button = Qt::LeftButton) {
        QTest::mousePress(handle(), button, with, at(view, places.front()));
        for (const QPointF& place : places) QTest::mouseMove(handle(), at(view, place));
        QTest::mouseRelease(handle(), button, with, at(view, places.back()));
    }

    void click(View& view, const QPointF& place, Qt::MouseButton button = Qt::LeftButton,
               Qt::KeyboardModifiers with = Qt::NoModifier) {
        QTest::mouseMove(handle(), at(view, place));
        QTest::mouseClick(handle(), button, with, at(view, place));
    }

    void press(View& view, const QPointF& place, Qt::MouseButton button) {
        QTest::mousePress(handle(), button, Qt::NoModifier, at(view, place));
    }
    void release(View& view, const QPointF& place, Qt::MouseButton button) {
        QTest::mouseRelease(handle(), button, Qt::NoModifier, at(view, place));
    }

    void hover(View& view, const QPointF& place) { QTest::mouseMove(handle(), at(view, place)); }

    void wheel(View& view, const QPointF& place, int steps, Qt::KeyboardModifiers with = Qt::NoModifier) {
        QWheelEvent event(place, view.mapToGlobal(place.toPoint()), {}, {0, steps * 120}, Qt::NoButton, with,
                          Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(&view, &event);
    }

    void trigger(const char* action) { window_->action(QLatin1String(action))->trigger(); }

    /// The pixel of the view in which a position is seen, in logical pixels.
    static QPointF pixelOf(const View& view, const Sextant::PhysicalSpace::point& position) {
        const glm::dvec2 pixel = view.camera().pixelAt(view.camera().placeOf(position));
        return {pixel.x, pixel.y};
    }

private:
    QWindow* handle() { return window_->windowHandle(); }
    QPoint at(const View& view, const QPointF& place) const { return view.mapTo(window_.get(), place.toPoint()); }

    std::unique_ptr<MainWindow> window_;
};

} // namespace corvane::test
