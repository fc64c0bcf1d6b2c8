// SPDX-License-Identifier: Apache-2.0
#include "network/FieldRange.hpp"

#include "Kesh/values/LabelSet.hpp"
#include "base/Failure.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

namespace corvane {
namespace {

template <class T>
const T* valueIn(const Kesh::VSlot& slot, const Kesh::ValuePool& pool) {
    const auto value = slot.getValueBase(pool);
    const auto* typed = dynamic_cast<const Kesh::VValue<T>*>(value.get());
    return typed ? &typed->value : nullptr;
}

/// What the object would write, and the slot that says so.
struct Written {
    std::string slot;
    int value;
};

std::optional<Written> writtenBy(const Kesh::VObject& object, const Kesh::ValuePool& pool) {
    for (const auto& slot : object.allSlots()) {
        if (const auto* labels = valueIn<Kesh::LabelSet>(*slot, pool))
            if (const int value = labels->getSelectedValue("Assign"); value != Kesh::LabelSet::NothingSelected)
                return Written{slot->name(), value};
        if (const auto* number = slot->name() == "newvalue" ? valueIn<int>(*slot, pool) : nullptr)
            return Written{slot->name(), *number};
    }
    return std::nullopt;
}

const Fiber::FieldSelector* fieldOf(const Kesh::VObject& object, const Kesh::ValuePool& pool) {
    for (const auto& slot : object.allSlots())
        if (const auto* selector = valueIn<Fiber::FieldSelector>(*slot, pool)) return selector;
    return nullptr;
}

} // namespace

std::uint32_t largestValueOf(const Survey& survey, const SurveyField& field) {
    return field.editable ? survey.las().dimensions[field.dimension].largestValue() : 0;
}

void checkWrittenValue(const Kesh::VObject& object, const Survey& survey, const Kesh::ValuePool& pool) {
    const auto written = writtenBy(object, pool);
    const auto* selector = written ? fieldOf(object, pool) : nullptr;
    if (!selector) return;
    const auto& fields = survey.fields();
    const auto field = std::ranges::find(fields, selector->getFieldName(), &SurveyField::name);
    if (field == fields.end() || largestValueOf(survey, *field) == 0) return;
    const std::uint32_t largest = field->type == "uint8" ? 0xFF : 0xFFFF;
    if (written->value >= 0 && static_cast<std::uint32_t>(written->value) <= largest) return;
    throw UsageError(
        fmt::format("{}.{}: the value {} cannot be written to the field \"{}\", which holds 0 to {} in this "
                    "survey; choose another value.",
                    object.BaseName(), written->slot, written->value, field->name, largest));
}

} // namespace corvane
