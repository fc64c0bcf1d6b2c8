// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QStringList>
#include <QWidget>

#include <functional>

namespace corvane {

/// What an empty window shows: what can be opened.
class StartPage : public QWidget {
public:
    struct Actions {
        std::function<void()> chooseFile, openSample;
        std::function<void(const QString& path)> open;
    };

    explicit StartPage(Actions actions, QWidget* parent = nullptr);

    /// Files that were open before. Nobody looks whether they are there: drives may be far away.
    void setRecentFiles(const QStringList& files);

private:
    Actions actions_;
    QWidget* recent_; // its parent is this
};

} // namespace corvane
