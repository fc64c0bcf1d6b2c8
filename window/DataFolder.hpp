// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

namespace corvane {

/// Where the window keeps what belongs to somebody and to no survey's folder. It need not be there.
QString dataFolder();

/// Where the edits of a survey are kept whose folder cannot be written to, by the survey's path.
QString storeElsewhere(const QString& survey);

} // namespace corvane
