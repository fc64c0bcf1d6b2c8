// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "window/NotShown.hpp"

#include <QWidget>

#include <array>
#include <functional>

class QDoubleSpinBox;
class QToolButton;

namespace corvane {

/// Which returns and heights are shown. Classes have their eyes in the panel of the classes.
class ShownPanel : public QWidget {
public:
    /// `changed` hears what the user has changed; its classes are those that were shown here last.
    explicit ShownPanel(std::function<void(const NotShown&)> changed, QWidget* parent = nullptr);

    void show(const NotShown& notShown);

    /// Of the survey: where the boxes begin when somebody steps.
    void setHeights(double lowest, double highest);

private:
    static constexpr int Buttons = 6; // the last one is for all returns from there on

    void tell();

    std::function<void(const NotShown&)> changed_;
    NotShown present_;
    std::array<QToolButton*, Buttons> returns_{}; // their parents are this
    class HeightBox;
    HeightBox *lowest_, *highest_;
};

} // namespace corvane
