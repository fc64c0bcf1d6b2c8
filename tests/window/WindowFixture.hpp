// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "WindowDriver.hpp"

#include "../shell/ProgramTestSupport.hpp"

#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace corvane::test {

namespace fs = std::filesystem;

/// A survey to use a window on.
class Window : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(corvane({"sample", in, "--points", "20000", "-q"}).status, 0); }

    static Outcome corvane(const Arguments& arguments) { return execute(CORVANE_PROGRAM, arguments); }

    static std::shared_ptr<const Session> session() {
        SessionOptions options;
        options.pluginPath = CORVANE_PLUGIN;
        return std::make_shared<const Session>(options);
    }

    /// What was done, as a network file.
    std::string recordOf(WindowDriver& driver) const {
        fs::remove(recordPath);
        driver.window().saveRecord(QString::fromStdString(recordPath));
        EXPECT_TRUE(driver.until([&] { return fs::exists(recordPath); })) << driver.said();
        return bytesOf(recordPath);
    }

    /// What was done, replayed by the program on the survey as it was, gives the survey as the window saves it.
    void expectReplayed(WindowDriver& driver, const std::string& original) {
        const std::string saved = folder / "saved.las", replayed = folder / "replayed.las";
        driver.work().saveCopy(saved, true);
        driver.settle();
        ASSERT_TRUE(driver.until([&] { return fs::exists(saved); })) << driver.said();
        const std::string network = recordOf(driver);
        const Outcome run = corvane(
            {"run", recordPath, "--survey", original, "--save", replayed, "--overwrite", "--plugin", CORVANE_PLUGIN});
        ASSERT_EQ(run.status, 0) << run.err << network;
        EXPECT_TRUE(bytesOf(replayed) == bytesOf(saved)) << network;
    }

    const Folder folder;
    const std::string in = folder / "in.las", recordPath = folder / "network.json";
};

inline QPointF middleOf(const View& view) { return {view.width() / 2.0, view.height() / 2.0}; }

inline std::vector<QPointF> around(const QPointF& middle, double radius) {
    return {middle + QPointF(-radius, -radius), middle + QPointF(radius, -radius), middle + QPointF(radius, radius),
            middle + QPointF(-radius, radius)};
}

} // namespace corvane::test
