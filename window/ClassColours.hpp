// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/LabelSet.hpp"
#include "picture/PixelPasses.hpp"

#include <QColor>
#include <QString>

#include <memory>
#include <vector>

namespace corvane {

constexpr int LargestClass = 255; ///< of the fields that are edited by hand

/// "6 Building"; the number alone where the class has no name.
QString className(const Kesh::LabelSet& labels, int value);

/// That of its label; of a class without one that of its number.
QColor classColourOf(const Kesh::LabelSet& labels, int value);

/// The colours of all classes up to `largest`.
std::shared_ptr<const std::vector<Colour>> paletteOf(const Kesh::LabelSet& labels, int largest);

} // namespace corvane
