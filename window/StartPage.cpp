// SPDX-License-Identifier: Apache-2.0
#include "window/StartPage.hpp"

#include "window/Child.hpp"
#include "window/Wording.hpp"

#include <QFileInfo>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace corvane {
namespace {

constexpr int Wide = 420, MostFiles = 6;

QPushButton* button(QWidget* parent, const QString& text) {
    auto* made = childOf<QPushButton>(parent, text);
    made->setMinimumHeight(38);
    made->setAutoDefault(true); // Return presses it
    return made;
}

} // namespace

StartPage::StartPage(Actions actions, QWidget* parent) : QWidget(parent), actions_(std::move(actions)) {
    auto* self = static_cast<QWidget*>(this);
    auto* outer = childOf<QVBoxLayout>(self);
    auto* column = childOf<QWidget>(self);
    column->setMaximumWidth(Wide);
    column->setMinimumWidth(Wide);
    outer->addStretch();
    outer->addWidget(column, 0, Qt::AlignHCenter);
    outer->addStretch();
    auto* inner = childOf<QVBoxLayout>(column);
    inner->setSpacing(10);
    auto* title = childOf<QLabel>(column, QStringLiteral("Correct the classes of a point cloud"));
    QFont large = title->font();
    large.setPointSizeF(large.pointSizeF() * 1.6);
    title->setFont(large);
    auto* hint = childOf<QLabel>(
        column, QStringLiteral("Drop a LAS, LAZ or COPC file here, or begin with one of these. What you do is kept at "
                               "once, beside the file; the file itself changes when you save."));
    hint->setWordWrap(true);
    QPushButton* open = button(column, QStringLiteral("Open a file…"));
    open->setDefault(true);
    QPushButton* sample = button(column, QStringLiteral("Try a sample survey"));
    recent_ = childOf<QWidget>(column);
    auto* files = childOf<QVBoxLayout>(recent_);
    files->setContentsMargins(0, 0, 0, 0);
    files->setSpacing(2);
    for (QWidget* widget : {static_cast<QWidget*>(title), static_cast<QWidget*>(hint), static_cast<QWidget*>(open),
                            static_cast<QWidget*>(sample), recent_})
        inner->addWidget(widget);
    connect(open, &QPushButton::clicked, this, [this] { actions_.chooseFile(); });
    connect(sample, &QPushButton::clicked, this, [this] { actions_.openSample(); });
}

void StartPage::setRecentFiles(const QStringList& files) {
    while (QLayoutItem* item = recent_->layout()->takeAt(0)) {
        const std::unique_ptr<QLayoutItem> old(item);
        if (old->widget()) old->widget()->deleteLater();
    }
    for (const QString& path : files.mid(0, MostFiles)) {
        auto* made = childOf<QPushButton>(recent_, buttonText(QFileInfo(path).fileName()));
        made->setFlat(true);
        made->setStyleSheet(QStringLiteral("text-align: left; padding: 5px 8px 7px 8px;"));
        made->setToolTip(path);
        connect(made, &QPushButton::clicked, this, [this, path] { actions_.open(path); });
        recent_->layout()->addWidget(made);
    }
}

} // namespace corvane
