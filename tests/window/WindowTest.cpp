// SPDX-License-Identifier: Apache-2.0
// The window as somebody uses it: what comes out must be what the recorded network does to another copy.
#include "WaitingCalls.hpp"
#include "WindowFixture.hpp"

#include "../support/Replay.hpp"
#include "Fiber/FragmentBox.hpp"
#include "window/ClassColours.hpp"

#include <QAction>
#include <QGuiApplication>
#include <QMenu>

#include <algorithm>
#include <set>

namespace corvane::test {
namespace {

TEST_F(Window, selectsAppliesAndTakesBack) {
    const std::string original = folder / "original.las";
    fs::copy_file(in, original);
    WindowDriver driver;
    driver.open(in);
    driver.key(Qt::Key_9);
    EXPECT_EQ(driver.work().choices().to, 9);
    driver.drag(driver.view(), around(middleOf(driver.view()), 120));
    driver.settle();
    const auto selected = driver.state().mask.points;
    ASSERT_GT(selected, 100u) << driver.said();
    driver.drag(driver.view(), around(middleOf(driver.view()), 40), Qt::ControlModifier);
    driver.settle();
    EXPECT_LT(driver.state().mask.points, selected);
    driver.key(Qt::Key_Return);
    driver.settle();
    EXPECT_EQ(driver.state().mask.points, 0u);
    EXPECT_EQ(driver.state().data.position, 1);
    EXPECT_EQ(environmentChanges(), 0);
    const auto counts = *driver.state().counts;
    expectReplayed(driver, original);

    driver.trigger("undo");
    driver.settle();
    EXPECT_EQ(driver.state().data.position, 0);
    EXPECT_NE(*driver.state().counts, counts);
    driver.trigger("redo");
    driver.settle();
    EXPECT_EQ(*driver.state().counts, counts);
}

int classOf(const WorkbenchState& state, const PickedPoint& point) {
    const auto values = state.classes->at(point.fragment)->getData();
    return Holdfast::cast<const Fiber::MemArray<std::uint8_t>>(values)->values()[point.point];
}

/// Whether it is the colour, or a darker one of the same hue.
bool isShadeOf(const QColor& seen, const QColor& colour) {
    const std::array<int, 3> a{seen.red(), seen.green(), seen.blue()}, b{colour.red(), colour.green(), colour.blue()};
    const double brightness = double(*std::ranges::max_element(a)) / std::max(1, *std::ranges::max_element(b));
    bool same = brightness > 0.1 && brightness < 1.02;
    for (std::size_t i = 0; i < a.size(); ++i) same = same && std::abs(a[i] - brightness * b[i]) < 4;
    return same;
}

TEST_F(Window, showsPointsWhereTheyAreInTheColourOfTheirClass) {
    WindowDriver driver(2);
    driver.open(in);
    for (const int number : {ViewGrid::Plan, ViewGrid::Profile}) {
        View& view = driver.view(number);
        const PicturePtr picture = view.picture();
        int seen = 0;
        for (int x = 0; x < picture->screen.width; x += 3)
            for (int y = 0; y < picture->screen.height; y += 3) {
                const auto point = pick(*picture, x, y, 0);
                if (!point) continue;
                const QPointF at = WindowDriver::pixelOf(view, point->position) * view.devicePixelRatioF();
                EXPECT_LE(std::hypot(at.x() - x - 0.5, at.y() - y - 0.5), 12); // points grow into holes
                const QColor colour(picture->pixels.at(x, y));
                EXPECT_TRUE(isShadeOf(colour, classColourOf(*driver.state().labels, classOf(driver.state(), *point))))
                    << x << ' ' << y << ' ' << colour.name().toStdString();
                ++seen;
            }
        EXPECT_GT(seen, number == ViewGrid::Plan ? 1000 : 10);
    }
}

/// The depth of every selected point, as a view has it.
std::vector<double> selectedDepths(const WorkbenchState& state, const View& view) {
    std::vector<double> depths;
    const Fiber::Field& positions = *state.open->fields.at(Fiber::PositionsName);
    for (const auto& [number, array] : *state.selected) {
        const auto mask = Holdfast::cast<const Fiber::MemArray<std::uint8_t>>(array->getData());
        const auto points = Holdfast::cast<const Fiber::MemArray<Sextant::PhysicalSpace::point>>(
            positions.fragments().at(number).array->getData());
        for (std::size_t i = 0; i < points->values().size(); ++i)
            if (mask->values()[i]) depths.push_back(view.camera().depthOf(points->values()[i]));
    }
    return depths;
}

TEST_F(Window, limitsStrokesInDepth) {
    WindowDriver driver(2);
    driver.open(in);
    for (const int number : {ViewGrid::Plan, ViewGrid::Profile}) {
        View& view = driver.view(number);
        const double width = driver.work().grid().profile().width;
        const double depth = number == ViewGrid::Plan ? 2 : width / 4;
        auto corners = around(middleOf(view), 100);
        while (!view.pointAt(corners.front()) && corners.front().y() < view.height()) corners.front().ry() += 1;
        driver.work().choose(&Choices::depth, 0.0);
        driver.drag(view, corners);
        driver.settle();
        const auto all = driver.state().mask.points;
        const auto first = view.pointAt(corners.front());
        ASSERT_TRUE(first);
        driver.work().choose(&Choices::depth, depth);
        driver.drag(view, corners);
        driver.settle();
        const auto depths = selectedDepths(driver.state(), view);
        EXPECT_EQ(depths.size(), driver.state().mask.points);
        EXPECT_GT(depths.size(), 0u);
        EXPECT_LT(depths.size(), all);
        const double middle = view.camera().depthOf(first->position);
        for (const double found : depths) EXPECT_NEAR(found, middle, depth + 1e-9);
        driver.work().choose(&Choices::depth, 1000.0); // behind what a profile shows, too
        driver.drag(view, corners);
        driver.settle();
        EXPECT_EQ(driver.state().mask.points, all);
    }
}

/// A stroke ends with its own button, whatever the others do, and says what it does now.
TEST_F(Window, keepsToTheStrokeThatIsDrawn) {
    WindowDriver driver;
    driver.open(in);
    View& view = driver.view();
    const QPointF middle = middleOf(view), corner = middle - QPointF(100, 100), opposite = middle + QPointF(100, 100);
    driver.key(Qt::Key_R);
    driver.key(Qt::Key_2);
    driver.press(view, corner, Qt::LeftButton);
    driver.hover(view, opposite);
    ASSERT_TRUE(driver.until([&] { return !view.forecast().isEmpty(); }));
    const QString ofGround = view.forecast();
    QTest::qWait(1000); // another number begins
    driver.key(Qt::Key_6);
    EXPECT_TRUE(driver.until([&] { return view.forecast() != ofGround; })) << ofGround.toStdString();
    driver.press(view, opposite, Qt::MiddleButton);
    driver.hover(view, opposite + QPointF(30, 0));
    driver.release(view, opposite + QPointF(30, 0), Qt::LeftButton);
    EXPECT_FALSE(view.isDrawing());
    driver.release(view, opposite + QPointF(30, 0), Qt::MiddleButton);
    driver.settle();
    EXPECT_GT(driver.state().mask.points, 0u);
    const Camera still = view.camera();
    driver.hover(view, middle);
    EXPECT_EQ(view.camera().view(), still.view()) << "the middle button is up";
}

TEST_F(Window, flashesWhatWasAssigned) {
    WindowDriver driver;
    driver.open(in);
    View& view = driver.view();
    driver.key(Qt::Key_9);
    driver.drag(view, around(middleOf(view), 60));
    driver.settle();
    const auto inTheMiddle = [&] {
        const auto& pixels = view.picture()->pixels;
        return QColor(pixels.at(pixels.width / 2, pixels.height / 2));
    };
    driver.key(Qt::Key_Return);
    EXPECT_TRUE(driver.until([&] { // nearly white
        const QColor seen = inTheMiddle();
        return std::min({seen.red(), seen.green(), seen.blue()}) > 170;
    }));
    driver.settle();
    EXPECT_TRUE(isShadeOf(inTheMiddle(), classColourOf(*driver.state().labels, 9)));
}

/// What was done by hand in one window and in the next is done again on another survey by what was kept of it.
TEST_F(Window, keepsItsStrokesForOtherSurveys) {
    const std::string original = folder / "original.las", saved = folder / "saved.las",
                      replayed = folder / "replayed.las";
    fs::copy_file(in, original);
    for (const int again : {0, 1}) {
        WindowDriver driver(1);
        driver.open(in);
        View& plan = driver.view();
        const QPointF middle = middleOf(plan), elsewhere = middle + QPointF(40, again == 0 ? 30 : -60);
        driver.key(Qt::Key_L);
        driver.drag(plan, around(elsewhere, 90));
        driver.drag(plan, around(middle, 60)); // instead
        driver.drag(plan, around(elsewhere, 40), Qt::ShiftModifier);
        driver.settle();
        driver.key(again == 0 ? Qt::Key_9 : Qt::Key_4);
        driver.key(Qt::Key_Return);
        driver.settle();
        driver.work().setLocked(9, true); // before the second window selects
        driver.settle();
        driver.drag(plan, around(elsewhere, 50));
        driver.settle();
    }
    ASSERT_EQ(corvane({"save", in, saved}).status, 0);
    write(recordPath, corvane({"history", in, "--network"}).out);
    const Outcome run = corvane({"run", recordPath, "--survey", original, "--save", replayed});
    ASSERT_EQ(run.status, 0) << run.err << bytesOf(recordPath);
    EXPECT_FALSE(bytesOf(saved) == bytesOf(original));
    EXPECT_TRUE(bytesOf(saved) == bytesOf(replayed)) << bytesOf(recordPath);
}

/// The line, what is seen of it and the way back belong together.
TEST_F(Window, walksAlongAProfileAsItIsSeen) {
    WindowDriver driver(2);
    driver.open(in);
    const auto lineOf = [](const View& view) { return std::get<Stroke::Profile>(view.camera().on()); };
    View& profile = driver.view(ViewGrid::Profile);
    driver.click(profile, middleOf(profile), Qt::MiddleButton);
    driver.wheel(profile, middleOf(profile), 6);
    const double pixel = profile.camera().pixelWidth();
    const auto from = lineOf(profile).from;
    driver.key(Qt::Key_Up);
    EXPECT_NE(lineOf(profile).from, from);
    EXPECT_DOUBLE_EQ(profile.camera().pixelWidth(), pixel);
    const auto walked = lineOf(profile).from;
    driver.trigger("back");
    EXPECT_EQ(lineOf(profile).from, walked);

    View& plan = driver.view();
    driver.click(plan, middleOf(plan), Qt::MiddleButton);
    const double whole = plan.camera().pixelWidth();
    driver.wheel(plan, middleOf(plan), 4);
    driver.wheel(plan, middleOf(plan), 4);
    EXPECT_LT(plan.camera().pixelWidth(), whole);
    driver.trigger("back");
    EXPECT_DOUBLE_EQ(plan.camera().pixelWidth(), whole);
}

/// Keys are the view's again when a question was answered.
TEST_F(Window, givesTheKeysBackToTheView) {
    WindowDriver driver;
    driver.open(in);
    driver.drag(driver.view(), around(middleOf(driver.view()), 120));
    driver.trigger("save");
    driver.key(Qt::Key_Return);
    driver.key(Qt::Key_9);
    EXPECT_EQ(driver.work().choices().to, 9);
    driver.settle();
}

TEST_F(Window, needsNoMouseButForDrawing) {
    WindowDriver driver;
    driver.open(in);
    driver.trigger("atOnce");
    EXPECT_TRUE(driver.work().choices().atOnce);
    driver.trigger("add");
    EXPECT_EQ(driver.work().choices().how, Selecting::Add);
    std::set<QString> found;
    for (QAction* action : driver.window().findChildren<QAction*>())
        if (action->text() == QLatin1String("Height") || action->text() == QLatin1String("2 Ground")) {
            found.insert(action->text());
            action->trigger();
        } else if (action->menu() && action->text() == QLatin1String("Classes to &change")) {
            Q_EMIT action->menu()->aboutToShow();
            for (QAction* value : action->menu()->actions())
                if (value->text() == QLatin1String("2 Ground")) value->trigger();
        }
    EXPECT_TRUE(found.contains(QStringLiteral("Height")));
    EXPECT_EQ(driver.work().colours(ViewGrid::Plan).by, ColourBy::Height);
    EXPECT_EQ(driver.work().choices().from, std::set<int>{2});
}

TEST_F(Window, neverWaitsForOthersNorForADisc) {
    if (QGuiApplication::platformName() != QLatin1String("offscreen"))
        GTEST_SKIP() << "Qt itself waits for what shows the window.";
    WindowDriver driver(4);
    driver.open(in);
    watchThisThread();
    View& plan = driver.view();
    for (int i = 0; i < 3; ++i) {
        driver.wheel(plan, middleOf(plan), 1);
        driver.drag(plan, around(middleOf(plan), 50), Qt::NoModifier, Qt::MiddleButton);
        driver.drag(plan, around(middleOf(plan), 100));
        driver.key(Qt::Key_Return);
        driver.trigger("undo");
        driver.trigger("redo");
        driver.key(Qt::Key_I);
        driver.work().setColours(ViewGrid::Plan, {ColourBy::Intensity, {}, false});
        driver.work().showClass(2, i % 2 == 0);
        driver.work().setLocked(6, i % 2 == 0);
        driver.work().saveInPlace();
    }
    driver.settle();
    driver.work().open(in); // as it is
    driver.settle();
    EXPECT_EQ(takeWaitingCalls(), std::vector<std::string>());
    EXPECT_FALSE(driver.window().failed()) << driver.said();
}

constexpr std::size_t PointsAt = 96, Scales = 131, Offsets = 155, Bounds = 179; // in a header, and of Z in a record
constexpr std::size_t HeightIn = 8;

template <class T>
void put(std::string& bytes, std::size_t at, T value) {
    std::memcpy(bytes.data() + at, &value, sizeof value);
}

std::string withWrongBounds(std::string las) {
    for (std::size_t i = 0; i < 6; ++i) put(las, Bounds + i * sizeof(double), i % 2 == 0 ? -7e5 : 9e6);
    return las;
}

std::string withOneFarUp(std::string las) {
    std::uint32_t points = 0;
    std::memcpy(&points, las.data() + PointsAt, sizeof points);
    put(las, points + HeightIn, std::int32_t(1'000'000)); // hundredths of a metre
    return las;
}

std::string inDegrees(std::string las) {
    const double scale[] = {1e-7, 1e-7, 0.01}, offset[] = {5.1, 52.2, 0};
    for (std::size_t i = 0; i < 3; ++i) {
        put(las, Scales + i * sizeof(double), scale[i]);
        put(las, Offsets + i * sizeof(double), offset[i]);
    }
    return withWrongBounds(las);
}

TEST_F(Window, editsStrangeSurveys) {
    WindowDriver driver(2);
    driver.key(Qt::Key_9);
    const std::string las = bytesOf(in);
    const std::string laz = folder / "in.laz", copc = folder / "in.copc.laz";
    ASSERT_EQ(corvane({"convert", in, laz, "-q"}).status, 0);
    ASSERT_EQ(corvane({"convert", in, copc, "--copc", "-q"}).status, 0);
    const std::pair<const char*, std::string> surveys[] = {{"bounds.las", withWrongBounds(las)},
                                                           {"up.las", withOneFarUp(las)},
                                                           {"degrees.las", inDegrees(las)},
                                                           {"packed.laz", bytesOf(laz)},
                                                           {"packed.copc.laz", bytesOf(copc)}};
    for (const auto& [name, bytes] : surveys) {
        SCOPED_TRACE(name);
        const std::string file = folder / name, original = folder / ("original-" + std::string(name));
        write(file, bytes);
        write(original, bytes);
        driver.open(file);
        driver.drag(driver.view(), around(middleOf(driver.view()), 60));
        driver.settle();
        EXPECT_GT(driver.state().mask.points, 200u) << "the survey fills the view: " << driver.said();
        driver.key(Qt::Key_Return);
        driver.settle();
        EXPECT_EQ(driver.state().data.size(), 1);
        EXPECT_TRUE(seen(driver.state()) == replayed(session(), original, recordOf(driver)));
        if (name != std::string("degrees.las")) continue;
        driver.key(Qt::Key_B);
        driver.drag(driver.view(), {middleOf(driver.view()), middleOf(driver.view()) + QPointF(3, 0)});
        driver.settle();
        EXPECT_GT(driver.state().mask.points, 0u);
        EXPECT_LT(driver.state().mask.points, 2000u) << "the tip is of the survey's size";
        driver.key(Qt::Key_L);
    }
}

} // namespace
} // namespace corvane::test
