// SPDX-License-Identifier: Apache-2.0
#include "window/ClassPanel.hpp"

#include "window/Child.hpp"
#include "window/Icons.hpp"
#include "window/Numbers.hpp"

#include <QHeaderView>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QStyledItemDelegate>

#include <algorithm>

namespace corvane {
namespace {

enum Column { Eye, Lock, Swatch, Number, Name, Points, Share, Columns };

constexpr int RowHeight = 26, IconWidth = 28, CellMargins = 14, LeastWidth = 380; // logical pixels

} // namespace

class ClassPanel::Model : public QAbstractTableModel {
public:
    using QAbstractTableModel::QAbstractTableModel;

    void setRows(std::vector<ClassRow> rows, bool complete) {
        if (rows == rows_ && complete == complete_) return;
        const bool sameRows = rows.size() == rows_.size();
        if (!sameRows) beginResetModel();
        rows_ = std::move(rows);
        complete_ = complete;
        total_ = 0;
        for (const ClassRow& row : rows_) total_ += row.count;
        if (!sameRows)
            endResetModel();
        else if (!rows_.empty()) // so that what is chosen stays so
            Q_EMIT dataChanged(index(0, 0), index(static_cast<int>(rows_.size()) - 1, Columns - 1));
    }

    const ClassRow& row(const QModelIndex& index) const { return rows_[static_cast<std::size_t>(index.row())]; }
    bool onlyOneShown() const { return std::ranges::count(rows_, true, &ClassRow::shown) == 1; }

    int rowCount(const QModelIndex& parent) const override {
        return parent.isValid() ? 0 : static_cast<int>(rows_.size());
    }
    int columnCount(const QModelIndex&) const override { return Columns; }

    QVariant headerData(int section, Qt::Orientation, int role) const override {
        static constexpr const char* Titles[] = {"", "", "", "No.", "Class", "Points", "Share"};
        if (role == Qt::TextAlignmentRole) return static_cast<int>(alignment(section));
        return role == Qt::DisplayRole ? QString::fromLatin1(Titles[section]) : QVariant();
    }

    QVariant data(const QModelIndex& index, int role) const override {
        const ClassRow& row = this->row(index);
        switch (role) {
        case Qt::DisplayRole:
            return text(row, index.column());
        case Qt::ToolTipRole:
            return help(row, index.column());
        case Qt::TextAlignmentRole:
            return static_cast<int>(alignment(index.column()));
        case Qt::AccessibleTextRole:
            return row.name;
        default:
            return {};
        }
    }

    double share(const ClassRow& row) const {
        return total_ == 0 ? 0 : static_cast<double>(row.count) / static_cast<double>(total_);
    }

private:
    static Qt::Alignment alignment(int column) {
        return Qt::AlignVCenter | (column == Name || column == Share ? Qt::AlignLeft : Qt::AlignRight);
    }

    QString text(const ClassRow& row, int column) const {
        switch (column) {
        case Number:
            return QString::number(row.value);
        case Name:
            return row.name;
        case Points:
            return complete_ ? grouped(row.count) : QStringLiteral("≥ ") + grouped(row.count);
        case Share:
            return row.count == 0 ? QString() : percent(share(row));
        default:
            return {};
        }
    }

    static QString help(const ClassRow& row, int column) {
        if (column == Eye)
            return row.shown ? QStringLiteral("Shown. A click hides the class: hidden points are neither seen nor "
                                              "touched. Alt+click shows only this one.")
                             : QStringLiteral("Hidden: its points are neither seen nor touched. A click shows them.");
        if (column == Lock)
            return row.locked ? QStringLiteral("Locked: no point of it is selected. A click unlocks it.")
                              : QStringLiteral("Can be edited. A click locks the class.");
        return QStringLiteral("Double click: the class to assign. Ctrl+double click: a class to change.");
    }

    std::vector<ClassRow> rows_;
    std::uint64_t total_ = 0;
    bool complete_ = true;
};

/// Paints what is no text: eye, lock, colour and the bar of the share.
class ClassPanel::Delegate : public QStyledItemDelegate {
public:
    explicit Delegate(const Model& model, QObject* parent) : QStyledItemDelegate(parent), model_(model) {}

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        return {QStyledItemDelegate::sizeHint(option, index).width(), RowHeight};
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        const ClassRow& row = model_.row(index);
        QStyleOptionViewItem styled = option;
        if (!row.shown) styled.palette.setColor(QPalette::Text, option.palette.color(QPalette::PlaceholderText));
        if (index.column() == Share) paintBar(*painter, option.rect, row);
        QStyledItemDelegate::paint(painter, styled, index);
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        const bool marked = option.state.testFlag(QStyle::State_Selected);
        const QColor ink = option.palette.color(marked ? QPalette::HighlightedText : QPalette::Text);
        const QColor pale = marked ? ink : option.palette.color(QPalette::PlaceholderText);
        if (index.column() == Eye) paintEye(*painter, option.rect, row.shown ? ink : pale, row.shown);
        if (index.column() == Lock) paintLock(*painter, option.rect, row.locked ? ink : pale, row.locked);
        if (index.column() == Swatch) paintSwatch(*painter, option, row);
        painter->restore();
    }

private:
    void paintBar(QPainter& painter, QRect area, const ClassRow& row) const {
        area.adjust(2, 6, -2, -6);
        area.setWidth(static_cast<int>(model_.share(row) * area.width()));
        QColor colour = row.colour;
        colour.setAlphaF(0.45);
        painter.fillRect(area, colour);
    }

    static void paintSwatch(QPainter& painter, const QStyleOptionViewItem& option, const ClassRow& row) {
        const QPointF middle = QRectF(option.rect).center();
        constexpr double half = 6.5;
        painter.setPen(QPen(option.palette.color(QPalette::Mid), 1));
        painter.setBrush(row.colour);
        painter.drawRoundedRect(QRectF(middle.x() - half, middle.y() - half, 2 * half, 2 * half), 3, 3);
    }

    const Model& model_;
};

ClassPanel::ClassPanel(Actions actions, QWidget* parent)
    : QTreeView(parent), actions_(std::move(actions)), model_(childOf<Model>(this)) {
    setModel(model_);
    setItemDelegate(childOf<Delegate>(this, *model_));
    setRootIsDecorated(false);
    setUniformRowHeights(true);
    setAlternatingRowColors(true);
    setAllColumnsShowFocus(true);
    setMouseTracking(true);
    setFocusPolicy(Qt::TabFocus); // behind a click the keys are the view's, as before
    header()->setStretchLastSection(false);
    header()->setMinimumSectionSize(IconWidth);
    for (const int column : {Eye, Lock, Swatch}) {
        header()->setSectionResizeMode(column, QHeaderView::Fixed);
        header()->resizeSection(column, IconWidth);
    }
    for (const int column : {Number, Points}) header()->setSectionResizeMode(column, QHeaderView::ResizeToContents);
    header()->setSectionResizeMode(Name, QHeaderView::Stretch);
    header()->resizeSection(Share, fontMetrics().horizontalAdvance(QStringLiteral("100.0 %")) + CellMargins);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setMinimumWidth(LeastWidth);
}

ClassPanel::~ClassPanel() = default;

void ClassPanel::setRows(std::vector<ClassRow> rows, bool complete) { model_->setRows(std::move(rows), complete); }

void ClassPanel::activate(const QModelIndex& index, Qt::KeyboardModifiers with) {
    const ClassRow row = model_->row(index); // a copy: the answer to it may change the rows
    if (index.column() == Lock) {
        if (actions_.lock) actions_.lock(row.value, !row.locked);
    } else if (with.testFlag(Qt::AltModifier)) {
        if (actions_.showOnly) actions_.showOnly(row.value);
    } else if (actions_.show) {
        actions_.show(row.value, !row.shown);
    }
}

void ClassPanel::mouseReleaseEvent(QMouseEvent* event) {
    const QModelIndex index = indexAt(event->pos());
    if (event->button() == Qt::LeftButton && index.isValid() && (index.column() == Eye || index.column() == Lock))
        activate(index, event->modifiers());
    QTreeView::mouseReleaseEvent(event);
}

void ClassPanel::mouseDoubleClickEvent(QMouseEvent* event) {
    const QModelIndex index = indexAt(event->pos());
    if (!index.isValid() || index.column() == Eye || index.column() == Lock) return;
    const auto& choose =
        event->modifiers().testFlag(Qt::ControlModifier) ? actions_.chooseSource : actions_.chooseTarget;
    if (choose) choose(model_->row(index).value);
}

/// V shows or hides the class that is marked, L locks it, Return makes it the one to assign.
void ClassPanel::keyPressEvent(QKeyEvent* event) {
    const QModelIndex index = currentIndex();
    if (index.isValid() && event->key() == Qt::Key_L)
        activate(index.siblingAtColumn(Lock), {});
    else if (index.isValid() && event->key() == Qt::Key_V)
        activate(index.siblingAtColumn(Eye), event->modifiers());
    else if (index.isValid() && (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)) {
        if (actions_.chooseTarget) actions_.chooseTarget(model_->row(index).value);
    } else
        QTreeView::keyPressEvent(event);
}

} // namespace corvane
