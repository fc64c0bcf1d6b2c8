// SPDX-License-Identifier: Apache-2.0
#include "window/SelectionPanel.hpp"

#include "window/Child.hpp"
#include "window/ClassColours.hpp"
#include "window/Numbers.hpp"

#include <QHeaderView>
#include <QLabel>
#include <QTableWidget>
#include <QVBoxLayout>

namespace corvane {
namespace {

QString heightText(double value) { return QString::number(value, 'f', 2); }

void setCell(QTableWidget& table, int row, int column, const QString& text, bool number) {
    auto item = std::make_unique<QTableWidgetItem>(text);
    item->setTextAlignment(Qt::AlignVCenter | (number ? Qt::AlignRight : Qt::AlignLeft));
    table.setItem(row, column, item.release()); // the table owns it
}

} // namespace

SelectionPanel::SelectionPanel(QWidget* parent)
    : QWidget(parent), summary_(childOf<QLabel>(this)), table_(childOf<QTableWidget>(this)) {
    auto* layout = childOf<QVBoxLayout>(static_cast<QWidget*>(this));
    layout->setContentsMargins(0, 0, 0, 0);
    summary_->setContentsMargins(8, 6, 8, 4);
    summary_->setWordWrap(true);
    table_->setColumnCount(4);
    table_->setHorizontalHeaderLabels(
        {QStringLiteral("Class"), QStringLiteral("Points"), QStringLiteral("Lowest"), QStringLiteral("Highest")});
    table_->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    table_->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
    table_->verticalHeader()->hide();
    table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table_->setSelectionMode(QAbstractItemView::NoSelection);
    table_->setFocusPolicy(Qt::NoFocus);
    table_->setShowGrid(false);
    layout->addWidget(summary_);
    layout->addWidget(table_);
    show({}, {});
}

void SelectionPanel::show(const MaskSummary& mask, const Kesh::LabelSet& labels) {
    const QString count = points(mask.points);
    summary_->setText(
        mask.points == 0 ? QStringLiteral("Nothing is selected. Draw a stroke in a view.")
        : mask.complete
            ? QStringLiteral("%1, from %2 to %3 high").arg(count, heightText(mask.range[0]), heightText(mask.range[1]))
            : QStringLiteral("%1; counting was stopped, it may be more").arg(count));
    table_->setRowCount(static_cast<int>(mask.counts.size()));
    int row = 0;
    for (const auto& [value, number] : mask.counts) {
        const auto heights = mask.heights.find(value);
        setCell(*table_, row, 0, className(labels, value), false);
        table_->item(row, 0)->setData(Qt::DecorationRole, classColourOf(labels, value));
        setCell(*table_, row, 1, grouped(number), true);
        setCell(*table_, row, 2, heights == mask.heights.end() ? QString() : heightText(heights->second[0]), true);
        setCell(*table_, row, 3, heights == mask.heights.end() ? QString() : heightText(heights->second[1]), true);
        ++row;
    }
}

} // namespace corvane
