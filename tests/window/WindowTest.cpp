// SPDX-License-Identifier: Apache-2.0
// The window as somebody uses it: what comes out must be what the recorded network does to another copy.
#include "WaitingCalls.hpp"
#include "WindowDriver.hpp"

#include "../shell/ProgramTestSupport.hpp"
#include "window/ClassColours.hpp"

#include <filesystem>
#include <random>

namespace corvane::test {
namespace {

namespace fs = std::filesystem;

class Window : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(corvane({"sample", in, "--points", "20000", "-q"}).status, 0); }

    static Outcome corvane(const Arguments& arguments) { return execute(CORVANE_PROGRAM, arguments); }

    /// What was done, replayed by the program on the survey as it was, gives the survey as the window saves it.
    void expectReplayed(WindowDriver& driver, const std::string& original) {
        const std::string saved = folder / "saved.las", replayed = folder / "replayed.las";
        driver.work().saveCopy(saved, true);
        driver.settle();
        ASSERT_TRUE(driver.until([&] { return fs::exists(saved); })) << driver.said();
        const std::string file = folder / "network.json";
        driver.window().saveRecord(QString::fromStdString(file));
        ASSERT_TRUE(driver.until([&] { return holds(driver.said(), file); })) << driver.said();
        const std::string network = bytesOf(file);
        const Outcome run =
            corvane({"run", file, "--survey", original, "--save", replayed, "--overwrite", "--plugin", CORVANE_PLUGIN});
        ASSERT_EQ(run.status, 0) << run.err << network;
        EXPECT_TRUE(bytesOf(replayed) == bytesOf(saved)) << network;
    }

    const Folder folder;
    const std::string in = folder / "in.las";
};

QPointF middleOf(const View& view) { return {view.width() / 2.0, view.height() / 2.0}; }

std::vector<QPointF> around(const QPointF& middle, double radius) {
    return {middle + QPointF(-radius, -radius), middle + QPointF(radius, -radius), middle + QPointF(radius, radius),
            middle + QPointF(-radius, radius)};
}

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

TEST_F(Window, doesWhatItsRecordDoesAgain) {
    const std::string original = folder / "original.las";
    fs::copy_file(in, original);
    WindowDriver driver(2);
    driver.open(in);
    std::mt19937 random(7);
    const auto upTo = [&](int most) { return static_cast<int>(random() % static_cast<unsigned>(most)); };
    const auto placeIn = [&](const View& view) {
        return QPointF(5 + upTo(view.width() - 10), 5 + upTo(view.height() - 10));
    };
    constexpr Qt::Key tools[] = {Qt::Key_L, Qt::Key_R, Qt::Key_C, Qt::Key_B, Qt::Key_P, Qt::Key_A, Qt::Key_U};
    constexpr Qt::KeyboardModifier with[] = {Qt::NoModifier, Qt::ShiftModifier, Qt::ControlModifier};
    for (int i = 0; i < 60; ++i) {
        View& view = driver.view(upTo(2));
        switch (upTo(8)) {
        case 0:
            driver.wheel(view, placeIn(view), upTo(5) - 2);
            break;
        case 1:
            driver.key(Qt::Key_Return);
            break;
        case 2:
            driver.trigger(upTo(2) == 0 ? "undo" : "redo");
            break;
        case 3:
            driver.trigger(upTo(2) == 0 ? "undoMask" : "redoMask");
            break;
        case 4:
            driver.key(static_cast<Qt::Key>(Qt::Key_0 + upTo(10)));
            break;
        case 5:
            driver.key(upTo(2) == 0 ? Qt::Key_X : Qt::Key_Up);
            break;
        default: {
            driver.key(tools[upTo(7)]);
            if (driver.work().choices().tool == Tool::Polygon || driver.work().choices().tool == Tool::Above ||
                driver.work().choices().tool == Tool::Below) {
                for (int corner = 0; corner < 4; ++corner) driver.click(view, placeIn(view));
                driver.click(view, placeIn(view), Qt::RightButton);
            } else {
                driver.drag(view, {placeIn(view), placeIn(view), placeIn(view)}, with[upTo(3)]);
            }
        }
        }
        driver.settle();
    }
    expectReplayed(driver, original);
}

TEST_F(Window, neverWaitsForOthersNorForADisc) {
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

TEST_F(Window, opensWhateverSurveyThereIs) {
    WindowDriver driver(4);
    for (const char* points : {"0", "1"}) {
        const std::string file = folder / (std::string("of") + points + ".las");
        ASSERT_EQ(corvane({"sample", file, "--points", points, "-q"}).status, 0);
        driver.open(file);
        driver.key(Qt::Key_F);
        driver.drag(driver.view(), around(middleOf(driver.view()), 100));
        driver.settle();
        EXPECT_EQ(driver.state().points, std::stoull(points));
    }
    driver.window().open(QString::fromStdString(folder / "nowhere.las"));
    EXPECT_TRUE(driver.until([&] { return driver.window().failed(); }));
    EXPECT_NE(driver.said().find("nowhere.las"), std::string::npos) << driver.said();
    EXPECT_FALSE(driver.work().isOpen());
    driver.open(in);
    EXPECT_EQ(driver.state().points, 20000u);
}

} // namespace
} // namespace corvane::test
