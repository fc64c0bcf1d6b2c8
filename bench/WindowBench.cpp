// SPDX-License-Identifier: Apache-2.0
// The window as somebody uses it: from a gesture to the picture that shows what it did, all threads at work.
#include "Paths.hpp"
#include "TemporarySurvey.hpp"
#include "base/Failure.hpp"
#include "las/PointWriter.hpp"
#include "window/MainWindow.hpp"

#include <QApplication>
#include <QMouseEvent>
#include <QSettings>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <fcntl.h>
#include <fmt/format.h>
#include <memory>
#include <unistd.h>
#include <vector>

namespace corvane::bench {
namespace {

constexpr std::uint64_t Many = 100'000'000, Some = 10'000'000;
constexpr int Turns = 9, Patience = 300; // seconds

using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point begin) {
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

/// Knows how long the thread of the window was away from its loop.
class Application : public QApplication {
public:
    using QApplication::QApplication;

    double takeLongest() { return std::exchange(longest_, 0); } ///< since it was taken last

private:
    bool notify(QObject* receiver, QEvent* event) override {
        if (inside_) return QApplication::notify(receiver, event);
        inside_ = true;
        const auto begin = Clock::now();
        const bool used = QApplication::notify(receiver, event);
        longest_ = std::max(longest_, millisecondsSince(begin));
        inside_ = false;
        return used;
    }

    bool inside_ = false;
    double longest_ = 0;
};

/// A window of which the view and the bar above it have 1280 x 800 pixels together, used by mouse and keys.
class Desk {
public:
    Desk() {
        WindowOptions options;
        options.session.pluginPath = CORVANE_PLUGIN;
        options.size = {{1280, 800}};
        options.views = 1;
        options.theme = "dark";
        window_ = std::make_unique<MainWindow>(options);
        window_->show();
        window_->resize(1280, 800);
        window_->centralWidget()->setFixedSize(1280, 800);
    }

    Workplace& work() { return window_->work(); }
    View& view() { return work().grid().view(ViewGrid::Plan); }

    /// Milliseconds until this holds.
    template <class Condition>
    double until(Condition holds) {
        const auto begin = Clock::now();
        QTimer looking; // for what no event tells of
        looking.start(20);
        while (!holds()) {
            if (millisecondsSince(begin) > 1000.0 * Patience)
                throw Failure(
                    fmt::format("The window was not done in {} s: {}", Patience, window_->said().toStdString()));
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
        return millisecondsSince(begin);
    }

    double settle() {
        return until([&] { return work().isComplete() && work().state().countsComplete; });
    }

    void open(const std::string& path) { window_->open(path); }

    void mouse(QEvent::Type type, const QPointF& at, Qt::MouseButton button) {
        const bool moves = type == QEvent::MouseMove;
        QMouseEvent event(type, at, view().mapToGlobal(at.toPoint()), moves ? Qt::NoButton : button,
                          type == QEvent::MouseButtonRelease ? Qt::NoButton : button, Qt::NoModifier);
        QCoreApplication::sendEvent(&view(), &event);
    }

    void key(Qt::Key key) {
        QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
        QCoreApplication::sendEvent(&view(), &event);
    }

    /// The outline of a lasso, up to where the button goes up.
    void drawLasso(double radius) {
        const QPointF middle(640, 400);
        constexpr int corners = 200;
        for (int i = 0; i <= corners; ++i) {
            const double angle = 6.283 * i / corners;
            const QPointF at = middle + radius * QPointF(std::cos(angle), 0.8 * std::sin(angle));
            mouse(i == 0 ? QEvent::MouseButtonPress : QEvent::MouseMove, at, Qt::LeftButton);
            QCoreApplication::processEvents();
        }
    }

    double endLasso(double radius) {
        const auto begin = Clock::now();
        mouse(QEvent::MouseButtonRelease, QPointF(640 + radius, 400), Qt::LeftButton);
        until([&] { return work().showsAll(); });
        return millisecondsSince(begin);
    }

private:
    std::unique_ptr<MainWindow> window_;
};

void print(const std::string& what, std::vector<double> times, const std::string& ask) {
    std::ranges::sort(times);
    fmt::print("  {:58} {:9.1f} ms   worst {:9.1f} ms   ask {}\n", what, times[times.size() / 2], times.back(), ask);
}

/// The system reads it from the disc the next time.
void dropFromMemory(const std::string& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) return;
    fsync(file);
    posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED);
    close(file);
}

/// Until there is a picture of the survey, be it of a sample.
double firstPicture(const std::string& path) {
    Desk desk;
    const auto begin = Clock::now();
    desk.open(path);
    desk.until([&] { return desk.view().picture() && desk.view().picture()->drawn > 0; });
    return millisecondsSince(begin);
}

void firstPictures(const std::string& path, const std::string& kind, const std::string& ask,
                   const std::string& coldAsk) {
    std::vector<double> warm, cold;
    firstPicture(path);
    for (int turn = 0; turn < 3; ++turn) warm.push_back(firstPicture(path));
    for (int turn = 0; turn < 3; ++turn) {
        dropFromMemory(path);
        cold.push_back(firstPicture(path));
    }
    print(fmt::format("{}, first picture, cached", kind), warm, ask);
    print(fmt::format("{}, first picture, from the disc", kind), cold, coldAsk);
}

std::string packed(const TemporarySurvey& survey) {
    const std::string path = survey.sibling("survey.laz");
    const LasFile las = LasFile::open(survey.path());
    OutputFile output(path, false);
    const Watch unwatched;
    PointWriter(las, output, unwatched).write({}, {}, Packing::forName(path, las));
    output.commit();
    return path;
}

/// Drags the picture to and fro, each step as soon as the one before is seen.
void moving(Desk& desk) {
    constexpr int steps = 60;
    std::vector<double> frames, complete;
    double perPixel = 0;
    for (int turn = 0; turn < Turns; ++turn) {
        desk.mouse(QEvent::MouseButtonPress, {640, 400}, Qt::MiddleButton);
        for (int i = 1; i <= steps; ++i) {
            const PicturePtr before = desk.view().picture();
            const auto begin = Clock::now();
            desk.mouse(QEvent::MouseMove, QPointF(640 + 4 * (i <= steps / 2 ? i : steps - i), 400), Qt::MiddleButton);
            desk.until([&] { return desk.view().picture()->request != before->request; });
            frames.push_back(millisecondsSince(begin));
            const PicturePtr picture = desk.view().picture();
            perPixel = double(picture->drawn) / (picture->screen.width * picture->screen.height);
        }
        desk.mouse(QEvent::MouseButtonRelease, {640, 400}, Qt::MiddleButton);
        complete.push_back(desk.until([&] { return desk.work().showsAll(); }));
    }
    print(fmt::format("a picture while moving ({:.1f} points a pixel)", perPixel), frames, "33 ms");
    print("complete after the last move", complete, "300 ms");
}

void editing(Desk& desk, double radius, const std::string& lassoAsk, const std::string& editAsk) {
    std::vector<double> lassos, edits, undos;
    std::uint64_t points = 0;
    for (int turn = 0; turn < Turns; ++turn) {
        desk.drawLasso(radius);
        lassos.push_back(desk.endLasso(radius));
        points = desk.work().state().mask.points;
        const auto begin = Clock::now();
        desk.key(Qt::Key_Return);
        desk.until([&] { return desk.work().showsAll(); });
        edits.push_back(millisecondsSince(begin));
        if (desk.work().state().data.position != 1) throw Failure("The window did not edit what was drawn.");
        desk.settle();
        const auto undo = Clock::now();
        desk.work().undo();
        desk.until([&] { return desk.work().showsAll(); });
        undos.push_back(millisecondsSince(undo));
        desk.settle();
    }
    print(fmt::format("lasso around {:.2f} million, redrawn", 1e-6 * double(points)), lassos, lassoAsk);
    print(fmt::format("edit of {:.2f} million, redrawn", 1e-6 * double(points)), edits, editAsk);
    print("its undo, redrawn", undos, "");
}

void use(Application& application, std::uint64_t points, bool first) {
    const auto tellAway = [&](const char* when, const char* ask) {
        fmt::print("  {:58} {:9.1f} ms {:>39}\n", fmt::format("longest time away from the loop, {}", when),
                   application.takeLongest(), ask);
    };
    const TemporarySurvey survey(points);
    if (first) {
        firstPictures(survey.path(), "LAS", "500 ms", "1000 ms");
        firstPictures(packed(survey), "LAZ", "", "2000 ms");
    }
    Desk desk;
    desk.open(survey.path());
    fmt::print("  {:58} {:9.1f} ms\n", "complete, with all points", desk.settle());
    tellAway("at opening", "");
    const auto progress = desk.work().progress();
    fmt::print("  {:58} {:9.2f} bytes for each of {:.1f} million points   ask 11\n", "memory",
               double(progress.bytes) / double(progress.drawable), 1e-6 * double(progress.drawable));
    moving(desk);
    desk.key(Qt::Key_F);
    desk.settle();
    editing(desk, 300, points == Some ? "100 ms" : "", "");
    editing(desk, 20, "", "50 ms");
    tellAway("moving and editing", "ask 50 ms");
    fmt::print("\n");
}

} // namespace

void benchWindow() {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QTemporaryDir settings; // those of whoever runs this stay as they are
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settings.path());
    char name[] = "corvane_bench";
    char* arguments[] = {name, nullptr};
    int count = 1;
    Application application(count, arguments);
    for (const std::uint64_t points : {Some, Many}) {
        fmt::print("The window, 1280 x 800, {} million points of a LAS of {:.1f} GB\n", points / 1'000'000,
                   30e-9 * double(points));
        use(application, points, points == Many);
    }
}

} // namespace corvane::bench
