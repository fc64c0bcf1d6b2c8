// SPDX-License-Identifier: Apache-2.0
// What views say in words.
#pragma once

#include "network/Selecting.hpp"
#include "session/StrokePreview.hpp"
#include "window/NotShown.hpp"

#include <QString>

#include <string>

namespace corvane {

/// What a stroke would do, line by line: "12,408 selected", "310 not visible"; only what is not nothing.
QString forecastOf(const StrokePreview& preview, Selecting how);

/// "hidden: classes 2, 5–7, heights above 410"; empty when nothing is.
QString hiddenText(const NotShown& notShown);

/// A unit of lengths as it stands behind a number: "m" for "metre", as coordinateUnit has it.
QString shortUnit(const std::string& unit);

/// A sentence with long paths, which may be broken behind each part of a path and within long names.
QString breakable(const QString& sentence);

/// A name of a file on a button or in a menu, where & would underline what follows.
QString buttonText(const QString& name);

} // namespace corvane
