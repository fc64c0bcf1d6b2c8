// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QWidget>

#include <functional>

class QLabel;
class QPushButton;

namespace corvane {

/// Says in full what is wrong, for which the status line may have no room, and what can be done about it.
class ProblemStrip : public QWidget {
public:
    explicit ProblemStrip(QWidget* parent = nullptr);

    /// An empty sentence: nothing is wrong.
    void say(const QString& sentence);

    /// A button for the problem that is said; it goes with that.
    void offer(const QString& text, std::function<void()> function);

private:
    std::function<void()> function_;
    QLabel* label_; // the parent of both is this
    QPushButton* button_;
};

} // namespace corvane
