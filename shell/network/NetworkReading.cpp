// SPDX-License-Identifier: Apache-2.0
// What a network says of itself.
#include "network/Network.hpp"

#include "Fiber/MaskField.hpp"
#include "Kesh/values/BoxValue.hpp"
#include "network/Objects.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <map>
#include <typeindex>

namespace corvane {

using Holdfast::StrongPtr;

namespace {

std::string textOf(const Kesh::ValueMap& properties, const char* name) {
    const auto* text = properties.getValue<std::string>(name);
    return text ? *text : "";
}

std::optional<int> numberOf(const Kesh::ValueMap& properties, const char* name) {
    const int* number = properties.getValue<int>(name);
    return number ? std::optional(*number) : std::nullopt;
}

SlotFacts factsOf(const Kesh::VSlot& slot, const Kesh::ValuePool& pool) {
    const Kesh::ParameterIntroduction& known = slot.parameter()->introduction();
    const Kesh::ValueMap& properties = slot.parameter()->properties();
    SlotFacts facts;
    facts.name = slot.name();
    facts.kind = kindOfValues(known.initial.type());
    facts.help = known.help;
    if (const auto value = slot.getValueBase(pool)) {
        facts.value = value->text();
        if (const auto choice = Holdfast::cast<Kesh::VValue<Kesh::Enum>>(value)) facts.choices = choice->value.cases();
    }
    facts.tooltip = textOf(properties, "tooltip");
    facts.info = textOf(properties, "info");
    facts.icon = textOf(properties, "icon");
    facts.shortcut = textOf(properties, "shortcut");
    facts.minimum = numberOf(properties, "min");
    facts.maximum = numberOf(properties, "max");
    facts.wrap = numberOf(properties, "wrap");
    facts.group = slot.inputClass() ? slot.inputClass()->name() : "";
    facts.expertLevel = known.expertLevel;
    facts.inEditingTools = (known.flags & Kesh::ParameterIntroduction::InEditingTools) != 0;
    const auto& outputs = slot.owner().outputs();
    facts.output = std::ranges::any_of(outputs, [&](const auto& output) { return &*output == &slot; });
    return facts;
}

} // namespace

std::string kindOfValues(const std::type_info& type) {
    static const std::map<std::type_index, std::string> kinds{{typeid(Fiber::FieldSelector), "field"},
                                                              {typeid(Fiber::GridSelector), "grid"},
                                                              {typeid(Kesh::Action), "action"},
                                                              {typeid(Kesh::Enum), "choice"},
                                                              {typeid(int), "integer"},
                                                              {typeid(double), "number"},
                                                              {typeid(std::string), "text"},
                                                              {typeid(Kesh::Brush), "brush"},
                                                              {typeid(Kesh::BoxPtr), "box"},
                                                              {typeid(Kesh::LabelSet), "labels"},
                                                              {typeid(ClassRules), "rules"},
                                                              {typeid(Kesh::VHistogram), "histogram"}};
    const auto known = kinds.find(type);
    return known == kinds.end() ? Holdfast::Typename(type) : known->second;
}

std::vector<ObjectFacts> Network::objects() const {
    std::vector<ObjectFacts> all;
    for (const Entry& entry : objects_) {
        const auto object = entry.object.lock();
        ObjectFacts facts{entry.name, entry.type, {}};
        for (const auto& slot : object->allSlots()) {
            facts.slots.push_back(factsOf(*slot, *pool_));
            if (const auto source = slot->source())
                facts.slots.back().source = nameOf(source->owner()) + "." + source->name();
        }
        all.push_back(std::move(facts));
    }
    return all;
}

std::string Network::value(const std::string& path) const {
    const auto held = slot(path)->getValueBase(*pool_);
    return held ? held->text() : "";
}

Kesh::Status Network::status(const std::string& name) const { return object(name)->status(*pool_); }

Fiber::FieldSelector Network::selectorOf(const std::string& name) const {
    for (const auto& slot : object(name)->allSlots())
        if (const auto value = Holdfast::cast<Kesh::VValue<Fiber::FieldSelector>>(slot->getValueBase(*pool_)))
            return value->value;
    throw UsageError(fmt::format("The object \"{}\" works on no field.", name));
}

StrongPtr<Fiber::Grid> Network::gridOf(const std::string& path) const {
    const auto value = Holdfast::cast<Kesh::VValue<Fiber::GridSelector>>(slot(path)->getValueBase(*pool_));
    if (!value) throw UsageError(fmt::format("{} selects no grid.", path));
    return value->value.grid();
}

std::optional<Kesh::VHistogram> Network::histogramOf(const std::string& name) const {
    for (const auto& slot : object(name)->outputs())
        if (const auto value = Holdfast::cast<Kesh::VValue<Kesh::VHistogram>>(slot->getValueBase(*pool_)))
            return value->value;
    return std::nullopt;
}

std::optional<ClassTally> Network::tallyOf(const std::string& name) const {
    for (const auto& slot : object(name)->outputs())
        if (const auto value = Holdfast::cast<Kesh::VValue<ClassTally>>(slot->getValueBase(*pool_)))
            return value->value;
    return std::nullopt;
}

std::optional<std::uint64_t> Network::selectedPoints(const std::string& name) const {
    const auto maskSlot = object(name)->findSlot("maskfield");
    const auto maskName =
        maskSlot ? Holdfast::cast<Kesh::VValue<std::string>>(maskSlot->getValueBase(*pool_)) : nullptr;
    const auto fields = maskName ? selectorOf(name).representation() : nullptr;
    const auto mask = fields ? fields->findField(maskName->value) : nullptr;
    if (!mask || !Fiber::isMask(*mask)) return std::nullopt;
    std::uint64_t selected = 0;
    for (const auto& [number, fragment] : mask->fragments()) {
        if (!fragment.array || fragment.array->knownZero()) continue;
        if (const auto entries = Fiber::arrayOf<std::uint8_t>(fragment.array->getData()))
            selected += entries->size() - std::ranges::count(entries->values(), Fiber::Unmasked);
    }
    return selected;
}

StrongPtr<Fiber::Field> Network::fieldOf(const std::string& name) const {
    const auto field = selectorOf(name).field();
    if (!field) throw UsageError(fmt::format("No field is selected for the object \"{}\"; connect it to one.", name));
    return field;
}

} // namespace corvane
