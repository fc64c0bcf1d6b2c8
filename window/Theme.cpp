// SPDX-License-Identifier: Apache-2.0
#include "window/Theme.hpp"

#include <QApplication>
#include <QPalette>
#include <QStyleFactory>

namespace corvane {
namespace {

/// The colours that a theme is made of, from the lowest layer to the texts.
struct Shades {
    QColor window, base, alternate, button, text, faint, accent, onAccent, light, dark;
};

constexpr int HalfBright = 128; // of 255

Shades shadesOf(bool dark) {
    if (dark)
        return {QColor(0x23, 0x26, 0x2b), QColor(0x1b, 0x1d, 0x21), QColor(0x21, 0x24, 0x28), QColor(0x2f, 0x33, 0x39),
                QColor(0xe4, 0xe6, 0xea), QColor(0x8d, 0x94, 0x9e), QColor(0x3d, 0x8b, 0xd9), QColor(0xff, 0xff, 0xff),
                QColor(0x3b, 0x40, 0x47), QColor(0x14, 0x16, 0x19)};
    return {QColor(0xf2, 0xf3, 0xf5), QColor(0xff, 0xff, 0xff), QColor(0xf7, 0xf8, 0xfa), QColor(0xe8, 0xea, 0xed),
            QColor(0x1d, 0x21, 0x27), QColor(0x6d, 0x75, 0x80), QColor(0x1f, 0x6f, 0xc0), QColor(0xff, 0xff, 0xff),
            QColor(0xff, 0xff, 0xff), QColor(0xb9, 0xbe, 0xc6)};
}

QPalette paletteOf(const Shades& s) {
    QPalette palette;
    palette.setColor(QPalette::Window, s.window);
    palette.setColor(QPalette::WindowText, s.text);
    palette.setColor(QPalette::Base, s.base);
    palette.setColor(QPalette::AlternateBase, s.alternate);
    palette.setColor(QPalette::Text, s.text);
    palette.setColor(QPalette::PlaceholderText, s.faint);
    palette.setColor(QPalette::Button, s.button);
    palette.setColor(QPalette::ButtonText, s.text);
    palette.setColor(QPalette::ToolTipBase, s.base);
    palette.setColor(QPalette::ToolTipText, s.text);
    palette.setColor(QPalette::Highlight, s.accent);
    palette.setColor(QPalette::HighlightedText, s.onAccent);
    palette.setColor(QPalette::Link, s.accent);
    palette.setColor(QPalette::Light, s.light);
    palette.setColor(QPalette::Mid, s.dark);
    palette.setColor(QPalette::Dark, s.dark);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, s.faint);
    return palette;
}

/// The one that the desktop came with, before anything was applied.
bool desktopIsDark() {
    static const bool dark = QApplication::palette().color(QPalette::Window).lightness() < HalfBright;
    return dark;
}

} // namespace

Theme themeOf(const QString& name) {
    if (name == QLatin1String("light")) return Theme::Light;
    if (name == QLatin1String("dark")) return Theme::Dark;
    return Theme::Auto;
}

QString nameOf(Theme theme) {
    return QLatin1String(theme == Theme::Light ? "light" : theme == Theme::Dark ? "dark" : "auto");
}

bool isDark(Theme theme) {
    const bool desktop = desktopIsDark(); // is asked first in any case, before the desktop's palette is replaced
    return theme == Theme::Dark || (theme == Theme::Auto && desktop);
}

void apply(Theme theme, QApplication& application) {
    const bool dark = isDark(theme);
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    QApplication::setPalette(paletteOf(shadesOf(dark)));
    application.setStyleSheet(QStringLiteral("QToolTip { padding: 3px; }"
                                             "QDockWidget::title { padding: 5px 8px; }"
                                             "QStatusBar::item { border: none; }"
                                             "QToolBar { border: none; spacing: 2px; padding: 3px; }"));
}

QColor canvasColour(Theme theme) { return isDark(theme) ? QColor(0x12, 0x14, 0x17) : QColor(0xfb, 0xfb, 0xfc); }

OverlayColours overlayColours(Theme theme) {
    const Shades s = shadesOf(isDark(theme));
    QColor panel = s.window;
    panel.setAlphaF(0.88);
    QColor under = isDark(theme) ? QColor(Qt::black) : QColor(Qt::white);
    under.setAlphaF(0.75);
    return {isDark(theme) ? QColor(Qt::white) : QColor(0x10, 0x12, 0x15),
            under,
            QColor(0xff, 0xb0, 0x00),
            QColor(0xe0, 0x3c, 0x5a),
            isDark(theme) ? QColor(0xff, 0xb0, 0x00) : QColor(0x8a, 0x52, 0x00),
            panel,
            s.text,
            s.faint};
}

} // namespace corvane
