// SPDX-License-Identifier: Apache-2.0
#include "window/ProblemStrip.hpp"

#include "window/Child.hpp"
#include "window/Wording.hpp"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

namespace corvane {

ProblemStrip::ProblemStrip(QWidget* parent)
    : QWidget(parent),
      label_(childOf<QLabel>(static_cast<QWidget*>(this))),
      button_(childOf<QPushButton>(static_cast<QWidget*>(this))) {
    auto* row = childOf<QHBoxLayout>(static_cast<QWidget*>(this));
    row->setContentsMargins(10, 6, 10, 6);
    row->addWidget(label_, 1);
    row->addWidget(button_);
    label_->setTextFormat(Qt::PlainText);
    label_->setWordWrap(true);
    label_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    button_->setObjectName(QStringLiteral("remedy"));
    connect(button_, &QPushButton::clicked, this, [this] {
        if (const auto function = function_) function(); // which may say something else
    });
    hide();
}

void ProblemStrip::say(const QString& sentence) {
    function_ = nullptr;
    button_->hide();
    label_->setText(sentence.isEmpty() ? QString() : QStringLiteral("⚠ ") + breakable(sentence));
    setVisible(!sentence.isEmpty());
}

void ProblemStrip::offer(const QString& text, std::function<void()> function) {
    function_ = std::move(function);
    button_->setText(buttonText(text));
    button_->show();
}

} // namespace corvane
