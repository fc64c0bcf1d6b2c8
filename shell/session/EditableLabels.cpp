// SPDX-License-Identifier: Apache-2.0
#include "session/EditableLabels.hpp"

#include "Kesh/values/LabelAttributes.hpp"
#include "las/StandardClasses.hpp"
#include "survey/StandardLabels.hpp"

namespace corvane {

bool isLockedClass(const Kesh::LabelSet& labels, int value) {
    const Kesh::Label* label = labels.find(value);
    if (!label) return false; // it gets one, with the flag, as soon as somebody wants to edit it
    const auto editable = label->flags.find(EditableFlag);
    return editable == label->flags.end() || !editable->second;
}

constexpr int LargestReserved = 63; // what comes behind is for users, in formats 6 to 10

Kesh::LabelSet labelsForEditing(const Survey& survey, Fiber::Field& field) {
    const std::uint8_t format = survey.las().header.pointFormat;
    const int last = isLegacyFormat(format) ? LargestLegacyClass : LargestReserved;
    std::set<int> named;
    for (int value = 0; value <= last; ++value)
        if (!isReservedClass(value, format)) named.insert(value);
    Kesh::LabelSet labels = standardLabels(named, format);
    if (const auto stored = Kesh::readLabelSet(field.attributes()))
        for (const auto& [value, label] : *stored) labels[value] = label;
    for (auto& [value, label] : labels) label.flags.emplace(EditableFlag, true);
    return labels;
}

std::optional<Kesh::LabelSet> withLabelsFor(const Survey& survey, const Kesh::LabelSet& labels,
                                            const std::set<int>& classes) {
    std::optional<Kesh::LabelSet> more;
    for (auto& [value, label] : standardLabels(classes, survey.las().header.pointFormat)) {
        if (labels.find(value)) continue;
        if (!more) more = labels;
        Kesh::Label& made = (*more)[value];
        made = label;
        made.flags[EditableFlag] = true;
    }
    return more;
}

} // namespace corvane
