// SPDX-License-Identifier: Apache-2.0
#include "window/DataFolder.hpp"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace corvane {

QString dataFolder() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/corvane");
}

QString storeElsewhere(const QString& survey) {
    constexpr int readable = 60, digits = 12; // of the name, so that it is known again, and of what tells folders apart
    const QString path = QDir::cleanPath(QFileInfo(survey).absoluteFilePath());
    const QByteArray whole = QCryptographicHash::hash(path.toUtf8(), QCryptographicHash::Sha256).toHex();
    return QStringLiteral("%1/edits/%2-%3.edits")
        .arg(dataFolder(), QFileInfo(path).fileName().left(readable), QString::fromLatin1(whole.left(digits)));
}

} // namespace corvane
