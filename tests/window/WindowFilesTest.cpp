// SPDX-License-Identifier: Apache-2.0
// The window and the files that it opens, saves and writes.
#include "WindowFixture.hpp"

#include "window/DataFolder.hpp"

#include <QLabel>
#include <QPushButton>

#include <algorithm>
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace corvane::test {
namespace {

TEST_F(Window, writesAPictureForAScriptAndKeepsNothing) {
    const std::string picture = folder / "window.png", settings = folder / "settings";
    qputenv("XDG_CONFIG_HOME", QByteArray::fromStdString(settings));
    const Outcome run = corvane({"open", in, "--screenshot", picture, "--size", "900x700", "--views", "1"});
    const Outcome none = corvane({"open", folder / "none.las", "--screenshot", folder / "none.png"});
    qunsetenv("XDG_CONFIG_HOME");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(QImage(QString::fromStdString(picture)).size(), QSize(900, 700));
    EXPECT_FALSE(fs::exists(settings));
    EXPECT_EQ(none.status, 1);
    EXPECT_TRUE(holds(none.err, "none.las")) << none.err;
    EXPECT_FALSE(fs::exists(folder / "none.png"));
}

TEST_F(Window, finishesWhatWasBegunBeforeItCloses) {
    WindowDriver driver;
    driver.open(in);
    driver.drag(driver.view(), around(middleOf(driver.view()), 120));
    driver.key(Qt::Key_9);
    driver.work().apply();
    driver.work().saveInPlace();
    EXPECT_FALSE(driver.window().close());
    EXPECT_TRUE(driver.window().isVisible());
    EXPECT_TRUE(driver.until([&] { return !driver.window().isVisible(); })) << driver.said();
    EXPECT_EQ(driver.state().data.position, 1);
    EXPECT_EQ(driver.state().notInFile, 0);
}

/// However long the name of the file is.
TEST_F(Window, saysInFullWhatIsWrong) {
    WindowDriver driver;
    driver.window().open(QString::fromStdString(folder / (std::string(200, 'x') + ".las")));
    ASSERT_TRUE(driver.until([&] { return driver.window().failed(); }));
    const auto labels = driver.window().findChildren<QLabel*>();
    const auto problem = std::ranges::find_if(labels, [&](const QLabel* label) {
        QString text = label->text();
        return label->isVisible() && text.remove(QChar(0x200B)).endsWith(driver.window().said());
    });
    ASSERT_NE(problem, labels.end());
    EXPECT_TRUE(driver.until([&] { return (*problem)->height() >= (*problem)->heightForWidth((*problem)->width()); }));
    driver.open(in);
    EXPECT_FALSE((*problem)->isVisible());
}

TEST_F(Window, isClosedByASignal) {
    const std::string said = folder / "said", settings = folder / "settings";
    const pid_t program = fork();
    if (program == 0) {
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
        setenv("XDG_CONFIG_HOME", settings.c_str(), 1);
        if (freopen(said.c_str(), "w", stderr)) execl(CORVANE_PROGRAM, "corvane", "open", in.c_str(), nullptr);
        _exit(127);
    }
    const std::string edits = in + ".edits"; // there as soon as it is open
    for (int i = 0; i < 600 && !fs::exists(edits); ++i) usleep(50'000);
    ASSERT_TRUE(fs::exists(edits));
    kill(program, SIGTERM);
    int status = 0;
    ASSERT_EQ(waitpid(program, &status, 0), program);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
    EXPECT_TRUE(holds(bytesOf(said), "closed by a signal")) << bytesOf(said);
}

TEST_F(Window, outlivesTheFileItShows) {
    WindowDriver driver;
    driver.open(in);
    fs::remove(in);
    driver.drag(driver.view(), around(middleOf(driver.view()), 100));
    driver.settle();
    driver.key(Qt::Key_Return);
    driver.settle();
    EXPECT_EQ(driver.state().data.size(), 1);
    driver.work().saveInPlace();
    EXPECT_TRUE(driver.until([&] { return driver.window().failed(); }));
    EXPECT_NE(driver.said().find("in.las"), std::string::npos) << driver.said();
    driver.work().open(in);
    EXPECT_TRUE(driver.until([&] { return !driver.work().isOpen(); }));
}

/// What is shown is not what is there.
TEST_F(Window, editsNothingOfASurveyThatIsAnotherNow) {
    const std::string other = folder / "other.las";
    ASSERT_EQ(corvane({"sample", other, "--points", "30000", "-q"}).status, 0);
    WindowDriver driver;
    driver.open(in);
    driver.drag(driver.view(), around(middleOf(driver.view()), 100));
    driver.settle();
    fs::copy_file(other, in, fs::copy_options::overwrite_existing);
    driver.key(Qt::Key_Return);
    ASSERT_TRUE(driver.until([&] { return driver.window().failed(); }));
    EXPECT_NE(driver.said().find("Open it again"), std::string::npos) << driver.said();
    EXPECT_EQ(driver.state().data.size(), 0);
    EXPECT_TRUE(bytesOf(in) == bytesOf(other));
}

TEST_F(Window, saysThatAPluginCannotBeLoaded) {
    WindowDriver driver(1, folder / "nothing.so");
    driver.window().open(in);
    EXPECT_TRUE(driver.until([&] { return driver.window().failed(); }));
    EXPECT_NE(driver.said().find("nothing.so"), std::string::npos) << driver.said();
    EXPECT_FALSE(driver.work().isOpen());
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

/// No store can stand beside a file of such a name, as in a folder that nobody may write to.
TEST_F(Window, keepsEditsElsewhere) {
    const std::string file = folder / (std::string(240, 'x') + ".las");
    fs::copy_file(in, file);
    const std::string store = storeElsewhere(QString::fromStdString(file)).toStdString();
    {
        WindowDriver driver;
        driver.window().open(QString::fromStdString(file));
        ASSERT_TRUE(driver.until([&] { return driver.window().failed(); }));
        EXPECT_EQ(folder.contents().size(), 2u) << "nothing is left beside the two";
        auto* remedy = driver.window().findChild<QPushButton*>(QStringLiteral("remedy"));
        ASSERT_TRUE(driver.until([&] { return remedy->isVisible(); }));
        remedy->click();
        ASSERT_TRUE(driver.until([&] { return driver.work().isOpen(); })) << driver.said();
        EXPECT_NE(driver.said().find(store), std::string::npos) << driver.said();
        driver.settle();
        EXPECT_FALSE(remedy->isVisible());
        driver.drag(driver.view(), around(middleOf(driver.view()), 100));
        driver.settle();
        driver.key(Qt::Key_Return);
        driver.settle();
        driver.open(in); // whose store is beside it
        EXPECT_EQ(driver.state().data.size(), 0);
    }
    WindowDriver driver;
    driver.open(file);
    EXPECT_EQ(driver.state().data.size(), 1);
    driver.work().saveInPlace();
    driver.settle();
    EXPECT_EQ(driver.state().notInFile, 0) << driver.said();
    fs::remove(store);
}

} // namespace
} // namespace corvane::test
