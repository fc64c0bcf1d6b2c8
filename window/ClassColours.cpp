// SPDX-License-Identifier: Apache-2.0
#include "window/ClassColours.hpp"

#include "survey/StandardLabels.hpp"

namespace corvane {

QString className(const Kesh::LabelSet& labels, int value) {
    const Kesh::Label* label = labels.find(value);
    const QString number = QString::number(value);
    return label && !label->name.empty() ? number + QLatin1Char(' ') + QString::fromStdString(label->name) : number;
}

QColor classColourOf(const Kesh::LabelSet& labels, int value) {
    const Kesh::Label* label = labels.find(value);
    const Sextant::rgba_float_t colour = label ? label->colour : labelColour(value);
    const auto part = [](float c) { return static_cast<double>(std::min(std::max(c, 0.0F), 1.0F)); };
    return QColor::fromRgbF(part(colour.r), part(colour.g), part(colour.b));
}

std::shared_ptr<const std::vector<Colour>> paletteOf(const Kesh::LabelSet& labels, int largest) {
    std::vector<Colour> palette;
    for (int value = 0; value <= largest; ++value) palette.push_back(classColourOf(labels, value).rgb());
    return std::make_shared<const std::vector<Colour>>(std::move(palette));
}

} // namespace corvane
