// SPDX-License-Identifier: Apache-2.0
#include "window/Wording.hpp"

#include "window/Numbers.hpp"

#include <QStringList>

#include <cmath>

namespace corvane {
namespace {

/// "2, 5, 7–18"
QString listed(const std::set<int>& numbers) {
    QStringList parts;
    for (auto at = numbers.begin(); at != numbers.end();) {
        const int first = *at;
        int last = first;
        while (++at != numbers.end() && *at == last + 1) ++last;
        parts += last == first ? QString::number(first) : QStringLiteral("%1–%2").arg(first).arg(last);
    }
    return parts.join(QStringLiteral(", "));
}

/// Of what is hidden.
QString heightsText(const std::array<double, 2>& shown) {
    QStringList parts;
    if (std::isfinite(shown[0])) parts += QStringLiteral("below %1").arg(shown[0]);
    if (std::isfinite(shown[1])) parts += QStringLiteral("above %1").arg(shown[1]);
    return QStringLiteral("heights ") + parts.join(QStringLiteral(" and "));
}

} // namespace

QString forecastOf(const StrokePreview& preview, Selecting how) {
    QStringList parts;
    const auto add = [&](std::uint64_t count, const char* what) {
        if (count > 0) parts += grouped(count) + QLatin1Char(' ') + QLatin1String(what);
    };
    parts += grouped(preview.selected) + QLatin1String(how == Selecting::Remove ? " taken out" : " selected");
    if (how != Selecting::Remove) {
        add(preview.willChange, "will change");
        add(preview.alreadyThatClass, "already that class");
    }
    add(preview.locked, "locked");
    add(preview.otherClass, "of other classes");
    add(preview.notVisible, "not visible");
    return parts.join(QStringLiteral("\n"));
}

QString hiddenText(const NotShown& notShown) {
    QStringList parts;
    if (!notShown.classes.empty()) {
        parts += QStringLiteral("classes %1").arg(listed(notShown.classes));
    }
    if (!notShown.returns.empty()) parts += QStringLiteral("returns %1").arg(listed(notShown.returns));
    if (notShown.heights) parts += heightsText(*notShown.heights);
    return parts.isEmpty() ? QString() : QStringLiteral("hidden: ") + parts.join(QStringLiteral(", "));
}

QString shortUnit(const std::string& unit) {
    if (unit == "metre") return QStringLiteral("m");
    if (unit == "foot" || unit == "US survey foot") return QStringLiteral("ft");
    if (unit == "degree") return QStringLiteral("°");
    return QString::fromStdString(unit);
}

QString breakable(const QString& sentence) {
    constexpr int longest = 24;
    const QChar here(0x200B); // a space without width
    QString text;
    int run = 0; // characters without a place to break
    for (const QChar c : sentence) {
        text += c;
        run = c.isSpace() ? 0 : run + 1;
        if (c != QLatin1Char('/') && run < longest) continue;
        text += here;
        run = 0;
    }
    return text;
}

QString buttonText(const QString& name) { return QString(name).replace(QLatin1Char('&'), QStringLiteral("&&")); }

} // namespace corvane
