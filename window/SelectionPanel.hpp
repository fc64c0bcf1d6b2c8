// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "session/WorkbenchState.hpp"

#include <QWidget>

class QLabel;
class QTableWidget;

namespace corvane {

/// What is selected: how many points of each class, and between which heights.
class SelectionPanel : public QWidget {
public:
    explicit SelectionPanel(QWidget* parent = nullptr);

    void show(const MaskSummary& mask, const Kesh::LabelSet& labels);

private:
    QLabel* summary_; // its parent is this, as that of the table
    QTableWidget* table_;
};

} // namespace corvane
