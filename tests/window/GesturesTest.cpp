// SPDX-License-Identifier: Apache-2.0
// Whatever somebody does: what comes out must be what the recorded network does to another copy.
#include "WindowFixture.hpp"

#include "../support/Replay.hpp"

#include <random>

namespace corvane::test {
namespace {

/// Gestures, keys and sizes at random.
class Gestures {
public:
    Gestures(WindowDriver& driver, unsigned seed) : driver_(driver), random_(seed) {}

    void one() {
        View& view = driver_.view(below(2));
        switch (below(16)) {
        case 0:
            return driver_.wheel(view, placeIn(view), below(5) - 2);
        case 1:
        case 7:
        case 8:
            return driver_.key(Qt::Key_Return);
        case 2:
            return driver_.trigger(below(2) == 0 ? "undo" : "redo");
        case 3:
            return driver_.trigger(below(2) == 0 ? "undoMask" : "redoMask");
        case 4:
            return driver_.key(static_cast<Qt::Key>(Qt::Key_0 + below(10)));
        case 5:
            return driver_.key(below(2) == 0 ? Qt::Key_X : Qt::Key_Up);
        case 6:
            return change();
        default:
            return draw(view);
        }
    }

private:
    int below(int most) { return static_cast<int>(random_() % static_cast<unsigned>(most)); }
    QPointF placeIn(const View& view) { return {5.0 + below(view.width() - 10), 5.0 + below(view.height() - 10)}; }

    void change() {
        Workplace& work = driver_.work();
        switch (below(6)) {
        case 0:
            return driver_.window().resize(700 + below(600), 500 + below(500));
        case 1:
            return work.showClass(below(8), below(3) > 0);
        case 2:
            return work.setLocked(below(8), below(3) == 0);
        case 4:
            return work.setNotShown(hidden());
        case 3:
            return work.goToStep(Which::Data, below(driver_.state().data.size() + 1));
        default:
            return driver_.key(below(2) == 0 ? Qt::Key_F : Qt::Key_Escape);
        }
    }

    NotShown hidden() {
        NotShown hidden;
        if (below(2) == 0) hidden.returns = {1 + below(3)};
        if (below(2) == 0) hidden.heights = {400.0 + below(5), below(2) == 0 ? HUGE_VAL : 420.0};
        return hidden;
    }

    void draw(View& view) {
        constexpr Qt::Key tools[] = {Qt::Key_L, Qt::Key_R, Qt::Key_C, Qt::Key_B, Qt::Key_P, Qt::Key_A, Qt::Key_U};
        constexpr Qt::KeyboardModifier with[] = {Qt::NoModifier, Qt::ShiftModifier, Qt::ControlModifier};
        driver_.key(tools[below(std::size(tools))]);
        const Tool tool = driver_.work().choices().tool;
        if (tool != Tool::Polygon && tool != Tool::Above && tool != Tool::Below)
            return driver_.drag(view, {placeIn(view), placeIn(view), placeIn(view)}, with[below(std::size(with))]);
        for (int corner = 0; corner < 4; ++corner) driver_.click(view, placeIn(view));
        driver_.click(view, placeIn(view), Qt::RightButton);
    }

    WindowDriver& driver_;
    std::mt19937 random_;
};

TEST_F(Window, doesWhatItsRecordDoesAgain) {
    const bool isLong = std::getenv("CORVANE_LONG_TESTS") != nullptr;
    const int gestures = isLong ? 3000 : 200, between = isLong ? 150 : 40; // each time all is replayed
    const std::string original = folder / "original.las";
    fs::copy_file(in, original);
    WindowDriver driver(2);
    driver.open(in);
    Gestures hand(driver, 7);
    int steps = 0;
    for (int i = 1; i <= gestures; ++i) {
        hand.one();
        driver.settle();
        steps = std::max(steps, driver.state().data.size());
        if (i % between != 0) continue;
        const std::string record = recordOf(driver);
        ASSERT_TRUE(seen(driver.state()) == replayed(session(), original, record)) << i << ": " << record;
    }
    EXPECT_GT(steps, 3);
    expectReplayed(driver, original);
}

} // namespace
} // namespace corvane::test
