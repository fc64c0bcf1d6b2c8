// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QColor>
#include <QString>

class QApplication;

namespace corvane {

/// How the window looks.
enum class Theme {
    Auto, ///< as the desktop's own colours are
    Light,
    Dark
};

/// "auto", "light" or "dark"; anything else is auto.
Theme themeOf(const QString& name);
QString nameOf(Theme theme);

/// Whether it is the dark one on this desktop.
bool isDark(Theme theme);

/// Gives all widgets its colours.
void apply(Theme theme, QApplication& application);

/// Behind the points.
QColor canvasColour(Theme theme);

/// What is drawn over the points: outlines, handles and texts that must be seen on any colour.
struct OverlayColours {
    QColor line, under; ///< a line, and what is drawn wider below it
    QColor adds, removes;
    QColor warns; ///< of words
    QColor panel, text, faint;
};
OverlayColours overlayColours(Theme theme);

} // namespace corvane
