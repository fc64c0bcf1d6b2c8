// SPDX-License-Identifier: Apache-2.0
#include "window/HistoryPanel.hpp"

#include "window/Child.hpp"
#include "window/Numbers.hpp"

#include <QAbstractListModel>
#include <QDateTime>
#include <QPainter>
#include <QStyledItemDelegate>

namespace corvane {
namespace {

constexpr int Padding = 4, Indent = 10; // logical pixels
constexpr int DetailRole = Qt::UserRole;

/// When, and to how many points.
QString detailOf(const HistoryStep& step) {
    const QString when = QDateTime::fromSecsSinceEpoch(step.time).toString(QStringLiteral("yyyy-MM-dd hh:mm"));
    return QStringLiteral("%1 · %2").arg(points(step.points), when);
}

} // namespace

/// Texts are made of the rows that are seen: there may be ten thousand.
class HistoryPanel::Model : public QAbstractListModel {
public:
    Model(const QString& beginning, QObject* parent) : QAbstractListModel(parent), beginning_(beginning) {}

    /// False when it is the one that is shown.
    bool setHistory(const HistoryList& history) {
        if (history.position == history_.position && *history.steps == *history_.steps) return false;
        beginResetModel();
        history_ = history;
        endResetModel();
        return true;
    }

    int position() const { return history_.position; }
    int rowCount(const QModelIndex& parent) const override { return parent.isValid() ? 0 : history_.size() + 1; }
    QVariant data(const QModelIndex& index, int role) const override {
        if (index.row() == 0) return role == Qt::DisplayRole ? beginning_ : QVariant();
        const HistoryStep& step = *(*history_.steps)[static_cast<std::size_t>(index.row()) - 1];
        if (role == Qt::DisplayRole) return QString::fromStdString(step.what);
        if (role == DetailRole || role == Qt::ToolTipRole) return detailOf(step);
        return {};
    }

private:
    QString beginning_;
    HistoryList history_;
};

class HistoryPanel::Delegate : public QStyledItemDelegate {
public:
    Delegate(const Model& model, QObject* parent) : QStyledItemDelegate(parent), model_(model) {}

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const override {
        return {80, 2 * option.fontMetrics.height() + 2 * Padding};
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        const QPalette& palette = option.palette;
        if (option.state.testFlag(QStyle::State_MouseOver)) painter->fillRect(option.rect, palette.alternateBase());
        const QColor pale = palette.color(QPalette::PlaceholderText);
        QRect line = option.rect.adjusted(Indent, Padding, -Padding, -Padding);
        const QString detail = index.data(DetailRole).toString();
        if (!detail.isEmpty()) line.setHeight(line.height() / 2);
        painter->setPen(index.row() > model_.position() ? pale : palette.color(QPalette::Text));
        drawText(*painter, line, index.data().toString());
        painter->setPen(pale);
        if (!detail.isEmpty()) drawText(*painter, line.translated(0, line.height()), detail);
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
    setUniformItemSizes(true);
    setVerticalScrollMode(ScrollPerPixel);
    const auto go = [this, goTo = std::move(goTo)](const QModelIndex& index) {
        if (goTo && index.row() != model_->position()) goTo(index.row());
    };
    connect(this, &QListView::clicked, this, go);
}

HistoryPanel::~HistoryPanel() = default;

void HistoryPanel::setHistory(const HistoryList& history) {
    if (model_->setHistory(history)) scrollTo(model_->index(history.position));
}

} // namespace corvane
