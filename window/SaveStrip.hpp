// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QWidget>

#include <functional>

class QPushButton;

namespace corvane {

/// Asks where changes go, in the window and not above it.
class SaveStrip : public QWidget {
public:
    struct Actions {
        std::function<void()> inPlace, toCopy;
        std::function<void()> answered; ///< before them, whatever the answer
    };

    explicit SaveStrip(Actions actions, QWidget* parent = nullptr);

    /// Shows the question; `file` is the name of the survey's own file.
    void ask(const QString& file);

private:
    QPushButton* addChoice(const QString& text, const char* name, std::function<void()> function);

    std::function<void()> answered_;
    QPushButton* inPlace_; // its parent is this
};

} // namespace corvane
