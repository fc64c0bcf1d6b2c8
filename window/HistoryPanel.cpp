// SPDX-License-Identifier: Apache-2.0
#include "window/HistoryPanel.hpp"

#include "window/Child.hpp"

#include <QPainter>
#include <QStyledItemDelegate>

namespace corvane {
namespace {

constexpr int LineHeight = 17, Padding = 4, Indent = 10; // logical pixels
constexpr int DetailRole = Qt::UserRole;

} // namespace

class HistoryPanel::Model : public QAbstractListModel {
public:
    Model(const QString& beginning, QObject* parent) : QAbstractListModel(parent), beginning_{beginning, {}} {}

    /// True when rows came or went.
    bool setRows(std::vector<HistoryRow> rows, int position) {
        if (rows == rows_ && position == position_) return false;
        beginResetModel();
        rows_ = std::move(rows);
        position_ = position;
        endResetModel();
        return true;
    }

    int position() const { return position_; }
    int rowCount(const QModelIndex& parent) const override {
        return parent.isValid() ? 0 : static_cast<int>(rows_.size()) + 1;
    }
    QVariant data(const QModelIndex& index, int role) const override {
        const HistoryRow& row = index.row() == 0 ? beginning_ : rows_[static_cast<std::size_t>(index.row()) - 1];
        if (role == Qt::DisplayRole) return row.title;
        if (role == DetailRole || role == Qt::ToolTipRole) return row.detail;
        return {};
    }

private:
    HistoryRow beginning_;
    std::vector<HistoryRow> rows_;
    int position_ = 0;
};

class HistoryPanel::Delegate : public QStyledItemDelegate {
public:
    Delegate(const Model& model, QObject* parent) : QStyledItemDelegate(parent), model_(model) {}

    QSize sizeHint(const QStyleOptionViewItem&, const QModelIndex& index) const override {
        return {80, (index.row() == 0 ? 1 : 2) * LineHeight + 2 * Padding};
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        const QPalette& palette = option.palette;
        if (option.state.testFlag(QStyle::State_MouseOver)) painter->fillRect(option.rect, palette.alternateBase());
        const QColor pale = palette.color(QPalette::PlaceholderText);
        QRect line = option.rect.adjusted(Indent, Padding, -Padding, 0);
        line.setHeight(LineHeight);
        painter->setPen(index.row() > model_.position() ? pale : palette.color(QPalette::Text));
        drawText(*painter, line, index.data().toString());
        painter->setPen(pale);
        drawText(*painter, line.translated(0, LineHeight), index.data(DetailRole).toString());
        if (index.row() != model_.position()) return;
        constexpr int thick = 3;
        painter->fillRect(option.rect.left(), option.rect.bottom() - thick + 1, option.rect.width(), thick,
                          palette.color(QPalette::Highlight));
    }

private:
    static void drawText(QPainter& painter, const QRect& line, const QString& text) {
        painter.drawText(line, Qt::AlignVCenter | Qt::AlignLeft,
                         painter.fontMetrics().elidedText(text, Qt::ElideRight, line.width()));
    }
    const Model& model_;
};

HistoryPanel::HistoryPanel(const QString& beginning, GoTo goTo, QWidget* parent)
    : QListView(parent), model_(childOf<Model>(this, beginning)) {
    setModel(model_);
    setItemDelegate(childOf<Delegate>(this, *model_));
    setMouseTracking(true);
    setSelectionMode(NoSelection);
    setUniformItemSizes(false);
    setVerticalScrollMode(ScrollPerPixel);
    const auto go = [this, goTo = std::move(goTo)](const QModelIndex& index) {
        if (goTo && index.row() != model_->position()) goTo(index.row());
    };
    connect(this, &QListView::clicked, this, go);
}

HistoryPanel::~HistoryPanel() = default;

void HistoryPanel::setRows(std::vector<HistoryRow> rows, int position) {
    if (model_->setRows(std::move(rows), position)) scrollTo(model_->index(position));
}

} // namespace corvane
