// SPDX-License-Identifier: Apache-2.0
#include "window/ShownPanel.hpp"

#include "window/Child.hpp"

#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QSignalBlocker>
#include <QToolButton>

#include <cmath>

namespace corvane {
namespace {

constexpr int MostReturns = 15;  // that a record can say
constexpr double NoBound = -1e7; // below what heights can be; a spin box shows words there
constexpr double MostHeight = 1e7;

} // namespace

/// A height, or a word where there is no bound. The first step goes to where the survey ends.
class ShownPanel::HeightBox : public QDoubleSpinBox {
public:
    HeightBox(const char* word, QWidget* parent) : QDoubleSpinBox(parent) {
        setRange(NoBound, MostHeight);
        setDecimals(2);
        setSpecialValueText(QLatin1String(word));
        setKeyboardTracking(false);
    }

    void setStart(double start) { start_ = start; }

    void stepBy(int steps) override {
        if (value() == minimum())
            setValue(start_);
        else
            QDoubleSpinBox::stepBy(steps);
    }

private:
    /// Both ways, although no bound is the least value.
    StepEnabled stepEnabled() const override { return StepUpEnabled | StepDownEnabled; }

    double start_ = 0;
};

ShownPanel::ShownPanel(std::function<void(const NotShown&)> changed, QWidget* parent)
    : QWidget(parent),
      changed_(std::move(changed)),
      lowest_(childOf<HeightBox>(static_cast<QWidget*>(this), "lowest")),
      highest_(childOf<HeightBox>(static_cast<QWidget*>(this), "highest")) {
    auto* form = childOf<QFormLayout>(static_cast<QWidget*>(this));
    auto* returns = std::make_unique<QHBoxLayout>().release(); // the form owns it
    for (int i = 0; i < Buttons; ++i) {
        auto* button = childOf<QToolButton>(static_cast<QWidget*>(this));
        button->setText(QString::number(i + 1) + (i + 1 == Buttons ? QStringLiteral("+") : QString()));
        button->setCheckable(true);
        button->setChecked(true);
        button->setFocusPolicy(Qt::TabFocus);
        connect(button, &QToolButton::clicked, this, [this] { tell(); });
        returns->addWidget(button);
        returns_[static_cast<std::size_t>(i)] = button;
    }
    returns->addStretch();
    form->addRow(QStringLiteral("Returns"), returns);
    form->addRow(QStringLiteral("Heights from"), lowest_);
    form->addRow(QStringLiteral("to"), highest_);
    for (QDoubleSpinBox* box : {lowest_, highest_})
        connect(box, QOverload<double>::of(&QDoubleSpinBox::valueChanged), this, [this] { tell(); });
    show({});
}

void ShownPanel::show(const NotShown& notShown) {
    present_ = notShown;
    for (int i = 0; i < Buttons; ++i)
        returns_[static_cast<std::size_t>(i)]->setChecked(!notShown.returns.contains(i + 1));
    const auto set = [&](QDoubleSpinBox& box, std::size_t end) {
        const QSignalBlocker quiet(box);
        const double value = notShown.heights ? (*notShown.heights)[end] : HUGE_VAL;
        box.setValue(std::isfinite(value) ? value : NoBound);
    };
    set(*lowest_, 0);
    set(*highest_, 1);
}

void ShownPanel::setHeights(double lowest, double highest) {
    if (std::isfinite(lowest)) lowest_->setStart(lowest);
    if (std::isfinite(highest)) highest_->setStart(highest);
}

void ShownPanel::tell() {
    NotShown notShown = present_;
    notShown.returns.clear();
    for (int i = 0; i < Buttons; ++i)
        if (!returns_[static_cast<std::size_t>(i)]->isChecked())
            for (int number = i + 1; number <= (i + 1 == Buttons ? MostReturns : i + 1); ++number)
                notShown.returns.insert(number);
    const double low = lowest_->value(), high = highest_->value();
    notShown.heights.reset();
    if (low > NoBound || high > NoBound)
        notShown.heights = {low > NoBound ? low : -HUGE_VAL, high > NoBound ? high : HUGE_VAL};
    present_ = notShown;
    changed_(notShown);
}

} // namespace corvane
