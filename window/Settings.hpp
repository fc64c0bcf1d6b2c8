// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariant>

namespace corvane {

/// What is kept from one time to the next. Written at once; a file of settings that is damaged gives the usual ones.
class Settings {
public:
    /// Without `kept` nothing is read or written: all is as it usually is.
    explicit Settings(bool kept) : kept_(kept) {}
    bool areKept() const { return kept_; }

    QStringList recentFiles() const;
    void addRecentFile(const QString& path);

    QString theme() const;
    void setTheme(const QString& name);

    int views() const;
    void setViews(int count);

    /// Geometry and docks of the window; empty at first.
    QByteArray geometry() const;
    QByteArray docks() const;
    void setWindow(const QByteArray& geometry, const QByteArray& docks);

private:
    QVariant value(const char* key, const QVariant& usual = {}) const;
    void setValue(const char* key, const QVariant& value);

    bool kept_;
};

} // namespace corvane
