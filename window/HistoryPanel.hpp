// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "session/WorkbenchState.hpp"

#include <QListView>

#include <functional>

namespace corvane {

/// The steps of a history, the oldest above, those that were undone pale. The present is a line between two rows; a
/// click on a row goes behind it, the first row is before all steps.
class HistoryPanel : public QListView {
public:
    /// Is told how many steps are to be done.
    using GoTo = std::function<void(int position)>;

    /// `beginning`: what stands in the first row.
    HistoryPanel(const QString& beginning, GoTo goTo, QWidget* parent = nullptr);
    ~HistoryPanel() override;

    void setHistory(const HistoryList& history);

private:
    class Model;
    class Delegate;

    Model* model_; // its parent is this
};

} // namespace corvane
