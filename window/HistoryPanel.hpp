// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QAbstractListModel>
#include <QListView>

#include <functional>
#include <vector>

namespace corvane {

/// A step as the panel shows it.
struct HistoryRow {
    QString title, detail; ///< what was done; when, and to how many points

    bool operator==(const HistoryRow&) const = default;
};

/// The steps of a history, the oldest above, those that were undone pale. The present is a line between two rows; a
/// click on a row goes behind it, the first row is before all steps.
class HistoryPanel : public QListView {
public:
    /// Is told how many steps are to be done.
    using GoTo = std::function<void(int position)>;

    HistoryPanel(const QString& beginning, GoTo goTo, QWidget* parent = nullptr);
    ~HistoryPanel() override;

    void setRows(std::vector<HistoryRow> rows, int position);

private:
    class Model;
    class Delegate;

    Model* model_; // its parent is this
};

} // namespace corvane
