// SPDX-License-Identifier: Apache-2.0
#include <QApplication>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <optional>

namespace {

/// The application, where tests run: listing them needs none, and what Qt leaves behind is not the list's fault.
class Desktop : public testing::Environment {
public:
    Desktop(int& argc, char** argv) : argc_(argc), argv_(argv) {}

    void SetUp() override {
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
        QStandardPaths::setTestModeEnabled(true);
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settings_.path());
        QApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
        QGuiApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
        application_.emplace(argc_, argv_);
    }

    void TearDown() override { application_.reset(); }

private:
    int& argc_;
    char** argv_;
    QTemporaryDir settings_; // those of whoever runs this stay as they are
    std::optional<QApplication> application_;
};

} // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    testing::AddGlobalTestEnvironment(new Desktop(argc, argv)); // GoogleTest deletes it
    return RUN_ALL_TESTS();
}
