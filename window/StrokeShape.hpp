// SPDX-License-Identifier: Apache-2.0
// Strokes as they are seen in a view.
#pragma once

#include "window/Camera.hpp"
#include "window/Drawing.hpp"

#include <QPainterPath>

#include <cstdint>
#include <memory>
#include <vector>

namespace corvane {

/// A stroke's area on the pixels of a view, for looking at: what it selects is decided by the brush.
QPainterPath areaOf(const Stroke::Outline& outline, const Camera& camera);

/// The line through places.
QPainterPath lineThrough(const Stroke::Places& places, const Camera& camera);

/// A byte for each pixel of the device, row by row from above, not 0 inside of the area.
std::shared_ptr<const std::vector<std::uint8_t>> bitmapOf(const QPainterPath& area, int width, int height,
                                                          double ratio);

} // namespace corvane
