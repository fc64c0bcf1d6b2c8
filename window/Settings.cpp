// SPDX-License-Identifier: Apache-2.0
#include "window/Settings.hpp"

#include <QSettings>

namespace corvane {
namespace {

constexpr int MostRecent = 12;

QSettings settings() { return QSettings(QStringLiteral("corvane"), QStringLiteral("window")); }

} // namespace

QVariant Settings::value(const char* key, const QVariant& usual) const {
    return kept_ ? settings().value(QLatin1String(key), usual) : usual;
}

void Settings::setValue(const char* key, const QVariant& value) {
    if (kept_) settings().setValue(QLatin1String(key), value);
}

QStringList Settings::recentFiles() const { return value("recentFiles").toStringList(); }

void Settings::addRecentFile(const QString& path) {
    QStringList files = recentFiles();
    files.removeAll(path);
    files.prepend(path);
    setValue("recentFiles", QStringList(files.mid(0, MostRecent)));
}

QString Settings::theme() const { return value("theme", QStringLiteral("auto")).toString(); }
void Settings::setTheme(const QString& name) { setValue("theme", name); }

int Settings::views() const {
    const int count = value("views", 2).toInt();
    return count == 1 || count == 4 ? count : 2;
}
void Settings::setViews(int count) { setValue("views", count); }

QByteArray Settings::geometry() const { return value("geometry").toByteArray(); }
QByteArray Settings::docks() const { return value("docks").toByteArray(); }
void Settings::setWindow(const QByteArray& geometry, const QByteArray& docks) {
    setValue("geometry", geometry);
    setValue("docks", docks);
}

} // namespace corvane
