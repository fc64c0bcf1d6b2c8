// SPDX-License-Identifier: Apache-2.0
// Numbers as people read them.
#pragma once

#include <QLocale>
#include <QString>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace corvane {

/// "12,408"
inline QString grouped(std::uint64_t number) {
    return QLocale(QLocale::English).toString(static_cast<qulonglong>(number));
}

/// "12,408 points", "1 point"
inline QString points(std::uint64_t number) {
    return grouped(number) + QLatin1String(number == 1 ? " point" : " points");
}

/// A part of one, e.g. "12.4 %"; "<0.1 %" for what is not nothing.
inline QString percent(double part) {
    constexpr double least = 0.0005;
    if (part > 0 && part < least) return QStringLiteral("<0.1 %");
    return QString::number(part * 100, 'f', 1) + QStringLiteral(" %");
}

/// How many decimals coordinates in steps of this size need, 2 at least.
inline int decimalsOf(double scale) {
    constexpr int least = 2, most = 10;
    constexpr double rounding = 1e-9;
    if (!(scale > 0) || !std::isfinite(scale)) return least;
    return std::clamp(static_cast<int>(std::ceil(-std::log10(scale) - rounding)), least, most);
}

} // namespace corvane
