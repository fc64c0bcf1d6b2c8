// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "plot/BarChart.hpp"

#include <QFont>
#include <QPainter>
#include <QSize>

#include <functional>
#include <string>

namespace corvane {

/// The font of all texts.
QFont plotFont(int pixels, bool bold = false);

/// One line: line breaks and tabs become spaces, and what no picture can hold U+FFFD.
QString plotText(const std::string& text);

/// The bytes of a picture of this size, white where `paint` leaves it. Needs a QuietQt. Throws Failure.
std::string paintPage(const QSize& size, const QString& title, PictureFormat format,
                      const std::function<void(QPainter&)>& paint);

} // namespace corvane
