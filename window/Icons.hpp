// SPDX-License-Identifier: Apache-2.0
// Drawn shapes, so that they have the colour of the texts and are sharp at any scale.
#pragma once

#include "window/Drawing.hpp"

#include <QIcon>
#include <QPainter>

namespace corvane {

void paintEye(QPainter& painter, const QRect& area, const QColor& ink, bool open);
void paintLock(QPainter& painter, const QRect& area, const QColor& ink, bool closed);

QIcon toolIcon(Tool tool, const QColor& ink);

enum class Sign { Undo, Redo, Fit, Save, Open };
QIcon signIcon(Sign sign, const QColor& ink);

} // namespace corvane
