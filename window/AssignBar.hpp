// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/LabelSet.hpp"
#include "window/Choices.hpp"

#include <QWidget>

#include <functional>

class QComboBox;
class QDoubleSpinBox;
class QMenu;
class QToolButton;

namespace corvane {

/// The class to assign and those to change, "2 Ground <- 5, 6", always in sight at the canvas.
class AssignBar : public QWidget {
public:
    struct Actions {
        std::function<void(int value)> assignTo;
        std::function<void(std::set<int> classes)> changeFrom;
        std::function<void()> swap, apply;
        std::function<void(bool)> atOnce;
        std::function<void(double)> depth;
    };

    explicit AssignBar(Actions actions, QWidget* parent = nullptr);

    void setLabels(const Kesh::LabelSet& labels);
    void setChoices(const Choices& choices);

    /// The classes to change, to be ticked. Belongs to this.
    QMenu& classesToChange() { return *classes_; }

    /// Whether there is something to apply.
    void setCanApply(bool can);

private:
    void fillMenu();

    Actions actions_;
    Kesh::LabelSet labels_;
    Choices choices_;
    QComboBox* to_; // their parent is this
    QToolButton *from_, *swap_, *apply_, *atOnce_;
    QDoubleSpinBox* depth_;
    QMenu* classes_;
};

} // namespace corvane
