// SPDX-License-Identifier: Apache-2.0
#include "window/AssignBar.hpp"

#include "window/Child.hpp"
#include "window/ClassColours.hpp"
#include "window/Icons.hpp"

#include <QComboBox>
#include <QDoubleSpinBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QPixmap>
#include <QSignalBlocker>
#include <QToolButton>

namespace corvane {
namespace {

constexpr int SwatchSide = 14;  // logical pixels
constexpr int ArrowsWidth = 44; // of a spin box, with its frame
constexpr double MostDepth = 9999;

QIcon swatch(const QColor& colour) {
    QPixmap pixmap(SwatchSide, SwatchSide);
    pixmap.fill(colour);
    return pixmap;
}

} // namespace

AssignBar::AssignBar(Actions actions, QWidget* parent)
    : QWidget(parent),
      actions_(std::move(actions)),
      to_(childOf<QComboBox>(this)),
      from_(childOf<QToolButton>(this)),
      swap_(childOf<QToolButton>(this)),
      apply_(childOf<QToolButton>(this)),
      atOnce_(childOf<QToolButton>(this)),
      depth_(childOf<QDoubleSpinBox>(this)),
      classes_(childOf<QMenu>(this, QStringLiteral("Classes to &change"))) {
    auto* row = childOf<QHBoxLayout>(static_cast<QWidget*>(this));
    row->setContentsMargins(4, 0, 4, 0);
    auto* arrow = childOf<QLabel>(static_cast<QWidget*>(this), QStringLiteral("←"));
    for (QWidget* widget : {static_cast<QWidget*>(to_), static_cast<QWidget*>(arrow), static_cast<QWidget*>(from_),
                            static_cast<QWidget*>(swap_), static_cast<QWidget*>(apply_), static_cast<QWidget*>(atOnce_),
                            static_cast<QWidget*>(depth_)})
        row->addWidget(widget);
    to_->setFocusPolicy(Qt::NoFocus);
    to_->setSizeAdjustPolicy(QComboBox::AdjustToContents); // a name that is cut off may be another one
    to_->setToolTip(QStringLiteral("The class to assign. Type its number in a view."));
    from_->setMenu(classes_);
    from_->setPopupMode(QToolButton::InstantPopup);
    from_->setToolTip(QStringLiteral("The classes to change; points of all others stay as they are"));
    swap_->setText(QStringLiteral("⇄"));
    swap_->setToolTip(QStringLiteral("Exchange the class to assign with the one to change (X)"));
    apply_->setText(QStringLiteral("Apply"));
    apply_->setToolTip(QStringLiteral("Give what is selected the class (Enter)"));
    atOnce_->setText(QStringLiteral("At once"));
    atOnce_->setCheckable(true);
    atOnce_->setToolTip(QStringLiteral("Each stroke is applied as soon as it is drawn"));
    depth_->setRange(0, MostDepth);
    depth_->setDecimals(2);
    depth_->setSingleStep(0.5);
    depth_->setPrefix(QStringLiteral("± "));
    depth_->setFixedWidth(fontMetrics().horizontalAdvance(QStringLiteral("± 9999.99")) + ArrowsWidth);
    depth_->setSpecialValueText(QStringLiteral("any depth"));
    depth_->setKeyboardTracking(false);
    depth_->setToolTip(
        QStringLiteral("A stroke reaches so far up and down from the point where it begins, in a profile "
                       "so far across"));
    for (QToolButton* button : {from_, swap_, apply_, atOnce_}) {
        button->setFocusPolicy(Qt::NoFocus);
        button->setToolButtonStyle(Qt::ToolButtonTextOnly);
    }
    connect(to_, QOverload<int>::of(&QComboBox::activated), this,
            [this](int chosen) { actions_.assignTo(to_->itemData(chosen).toInt()); });
    connect(swap_, &QToolButton::clicked, this, [this] { actions_.swap(); });
    connect(apply_, &QToolButton::clicked, this, [this] { actions_.apply(); });
    connect(atOnce_, &QToolButton::toggled, this, [this](bool on) { actions_.atOnce(on); });
    connect(depth_, QOverload<double>::of(&QDoubleSpinBox::valueChanged), this,
            [this](double depth) { actions_.depth(depth); });
    connect(classes_, &QMenu::aboutToShow, this, [this] { fillMenu(); });
}

void AssignBar::setLabels(const Kesh::LabelSet& labels) {
    if (labels == labels_) return;
    labels_ = labels;
    setChoices(choices_);
}

void AssignBar::setChoices(const Choices& choices) {
    choices_ = choices;
    to_->clear();
    for (const auto& [value, label] : labels_)
        to_->addItem(swatch(classColourOf(labels_, value)), className(labels_, value), value);
    if (to_->findData(choices.to) < 0)
        to_->addItem(swatch(classColourOf(labels_, choices.to)), className(labels_, choices.to), choices.to);
    to_->setCurrentIndex(to_->findData(choices.to));
    from_->setText(QString::fromStdString(fromText(choices)));
    swap_->setEnabled(choices.from.size() == 1);
    atOnce_->setChecked(choices.atOnce);
    const QSignalBlocker quiet(depth_);
    depth_->setValue(choices.depth);
}

void AssignBar::setCanApply(bool can) { apply_->setEnabled(can); }

void AssignBar::fillMenu() {
    classes_->clear();
    QAction* any = classes_->addAction(QStringLiteral("Any unlocked"), this, [this] { actions_.changeFrom({}); });
    any->setCheckable(true);
    any->setChecked(choices_.from.empty());
    classes_->addSeparator();
    for (const auto& [value, label] : labels_) {
        QAction* action = classes_->addAction(swatch(classColourOf(labels_, value)), className(labels_, value), this,
                                              [this, value = value] {
                                                  std::set<int> from = choices_.from;
                                                  if (!from.erase(value)) from.insert(value);
                                                  actions_.changeFrom(std::move(from));
                                              });
        action->setCheckable(true);
        action->setChecked(choices_.from.contains(value));
    }
}

} // namespace corvane
