// SPDX-License-Identifier: Apache-2.0
#include "Kesh/values/LabelAttributes.hpp"

namespace Kesh {
namespace {

using Holdfast::Chunk;
using Holdfast::StrongPtr;
using Colour = Sextant::rgba_float_t;

const std::string Prefix = "Labels";
const std::string Values = Prefix + ".ID", Names = Prefix + ".Names", Colours = Prefix + ".Colors";
const std::string Flags = Prefix + ".flags.";

} // namespace

void storeLabelSet(const LabelSet& labels, Holdfast::Attributes& attributes) {
    const std::size_t n = labels.size();
    const auto values = Holdfast::create<Chunk<int>>(n, 0);
    const auto names = Holdfast::create<Chunk<std::string>>(n);
    const auto colours = Holdfast::create<Chunk<Colour>>(n, Colour());
    std::map<std::string, StrongPtr<Chunk<bool>>> flags;
    std::size_t i = 0;
    for (const auto& [value, label] : labels) {
        values->values[i] = value;
        names->values[i] = label.name;
        colours->values[i] = label.colour;
        for (const auto& [flag, on] : label.flags) {
            StrongPtr<Chunk<bool>>& array = flags[flag];
            if (!array) array = Holdfast::create<Chunk<bool>>(n, false);
            array->values[i] = on;
        }
        ++i;
    }
    attributes.setAttribute(Values, values);
    attributes.setAttribute(Names, names);
    attributes.setAttribute(Colours, colours);
    for (const auto& [flag, array] : flags) attributes.setAttribute(Flags + flag, array);
}

void storeLabelSet(const LabelSet& labels, Fiber::Field& field, Holdfast::Ageable::Age time) {
    storeLabelSet(labels, field.attributes());
    field.updateAttributeAge(time);
}

bool carriesLabelSet(const Holdfast::Attributes& attributes) {
    return attributes.getAttribute<int>(Values) && attributes.getAttribute<std::string>(Names) &&
           attributes.getAttribute<Colour>(Colours);
}

std::optional<LabelSet> readLabelSet(const Holdfast::Attributes& attributes) {
    if (!carriesLabelSet(attributes)) return std::nullopt;
    const auto values = attributes.getAttribute<int>(Values);
    const auto names = attributes.getAttribute<std::string>(Names);
    const auto colours = attributes.getAttribute<Colour>(Colours);
    const std::size_t n = values->size();
    if (names->size() != n || colours->size() != n) return std::nullopt;
    LabelSet labels;
    for (std::size_t i = 0; i < n; ++i) {
        Label& label = labels[values->values[i]];
        label.name = names->values[i];
        label.colour = colours->values[i];
    }
    for (const std::string& name : attributes.names()) {
        const auto flags = name.starts_with(Flags) ? attributes.getAttribute<bool>(name) : nullptr;
        for (std::size_t i = 0; flags && flags->size() == n && i < n; ++i)
            labels[values->values[i]].flags[name.substr(Flags.size())] = flags->values[i];
    }
    return labels;
}

} // namespace Kesh
