// SPDX-License-Identifier: Apache-2.0
#include "window/SaveStrip.hpp"

#include "window/Child.hpp"
#include "window/Wording.hpp"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

namespace corvane {

SaveStrip::SaveStrip(Actions actions, QWidget* parent) : QWidget(parent), answered_(std::move(actions.answered)) {
    auto* self = static_cast<QWidget*>(this);
    auto* row = childOf<QHBoxLayout>(self);
    auto* question = childOf<QLabel>(self, QStringLiteral("Where should the changes go, now and with Ctrl+S?"));
    row->addWidget(question, 1);
    inPlace_ = addChoice({}, "saveInPlace", std::move(actions.inPlace));
    inPlace_->setDefault(true);
    addChoice(QStringLiteral("To a copy…"), "saveToCopy", std::move(actions.toCopy));
    addChoice(QStringLiteral("Not now"), "saveNot", [] {});
    hide();
}

QPushButton* SaveStrip::addChoice(const QString& text, const char* name, std::function<void()> function) {
    auto* button = childOf<QPushButton>(static_cast<QWidget*>(this), text);
    button->setObjectName(QLatin1String(name));
    button->setAutoDefault(true); // Return presses it
    connect(button, &QPushButton::clicked, this, [this, function = std::move(function)] {
        hide();
        if (answered_) answered_();
        function();
    });
    layout()->addWidget(button);
    return button;
}

void SaveStrip::ask(const QString& file) {
    inPlace_->setText(QStringLiteral("Into %1").arg(buttonText(file)));
    show();
    inPlace_->setFocus();
}

} // namespace corvane
