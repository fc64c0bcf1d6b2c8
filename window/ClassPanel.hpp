// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QAbstractTableModel>
#include <QColor>
#include <QTreeView>

#include <cstdint>
#include <functional>
#include <vector>

namespace corvane {

/// What the panel shows of a class.
struct ClassRow {
    int value = 0;
    QString name;
    QColor colour;
    bool shown = true, locked = false;
    std::uint64_t count = 0;

    bool operator==(const ClassRow&) const = default;
};

/// The classes of a survey: eye, lock, colour, number, name, count and share. The eye is the view's; the lock is the
/// flag "editable" of the label, the other way round.
class ClassPanel : public QTreeView {
public:
    /// What somebody did; functions that are not set are not called.
    struct Actions {
        std::function<void(int value, bool shown)> show;
        std::function<void(int value)> showOnly; ///< shows all when it is the only one already
        std::function<void(int value, bool locked)> lock;
        std::function<void(int value)> chooseTarget, chooseSource;
    };

    explicit ClassPanel(Actions actions, QWidget* parent = nullptr);
    ~ClassPanel() override;

    /// `complete` says whether the counts are those of all points.
    void setRows(std::vector<ClassRow> rows, bool complete);

private:
    class Model;
    class Delegate;

    void activate(const QModelIndex& index, Qt::KeyboardModifiers with);
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

    Actions actions_;
    Model* model_; // its parent is this
};

} // namespace corvane
