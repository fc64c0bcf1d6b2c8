// SPDX-License-Identifier: Apache-2.0
#include "Kesh/values/VValue.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <map>
#include <mutex>
#include <stdexcept>

namespace Kesh {
namespace {

template <class T>
T parseNumber(const std::string& text, const char* expected) {
    T value{};
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end)
        throw std::invalid_argument(fmt::format("\"{}\" was found where {} is expected", text, expected));
    return value;
}

[[noreturn]] void refuseText(const char* what) {
    throw std::invalid_argument(fmt::format("{} cannot be given as text", what));
}

} // namespace

std::string VValueTrait<int>::Text(const int& value) { return std::to_string(value); }
void VValueTrait<int>::setValueFromText(int& value, const std::string& text) {
    value = parseNumber<int>(text, "a whole number");
}

std::string VValueTrait<double>::Text(const double& value) { return fmt::format("{}", value); }
void VValueTrait<double>::setValueFromText(double& value, const std::string& text) {
    value = parseNumber<double>(text, "a number");
}

std::string VValueTrait<std::string>::Text(const std::string& value) { return value; }
void VValueTrait<std::string>::setValueFromText(std::string& value, const std::string& text) { value = text; }

std::string VValueTrait<VTime>::Text(const VTime& value) { return VValueTrait<double>::Text(value.seconds); }
void VValueTrait<VTime>::setValueFromText(VTime& value, const std::string& text) {
    value.seconds = parseNumber<double>(text, "a time in seconds");
}

std::string VValueTrait<Enum>::Text(const Enum& value) { return value.selectedCase(); }
void VValueTrait<Enum>::setValueFromText(Enum& value, const std::string& text) {
    const auto& cases = value.cases();
    const auto found = std::find(cases.begin(), cases.end(), text);
    if (found == cases.end())
        throw std::invalid_argument(
            fmt::format("\"{}\" was found where one of \"{}\" is expected", text, fmt::join(cases, "\", \"")));
    value.select(static_cast<int>(found - cases.begin()));
}

using ActionPtr = Holdfast::StrongPtr<VAction>;
std::string VValueTrait<ActionPtr>::Text(const ActionPtr&) { return ""; }
void VValueTrait<ActionPtr>::setValueFromText(ActionPtr&, const std::string&) { refuseText("An action"); }

std::string VValueTrait<Fiber::GridSelector>::Text(const Fiber::GridSelector& value) { return value.gridName; }
void VValueTrait<Fiber::GridSelector>::setValueFromText(Fiber::GridSelector&, const std::string&) {
    refuseText("A grid");
}

std::string VValueTrait<Fiber::FieldSelector>::Text(const Fiber::FieldSelector& value) { return value.getFieldName(); }
void VValueTrait<Fiber::FieldSelector>::setValueFromText(Fiber::FieldSelector& value, const std::string& text) {
    value = Fiber::FieldSelector(value, text);
}

template class VValue<int>;
template class VValue<double>;
template class VValue<std::string>;
template class VValue<VTime>;
template class VValue<Enum>;
template class VValue<ActionPtr>;
template class VValue<Fiber::GridSelector>;
template class VValue<Fiber::FieldSelector>;
template class VValue<Brush>;

namespace {

struct CreatorRegistry {
    std::mutex mutex;
    std::multimap<std::string, Holdfast::WeakPtr<VValueCreator>> byTypeName;
};

CreatorRegistry& registry() {
    static CreatorRegistry instance;
    return instance;
}

} // namespace

void VValueCreator::registerCreator(const Holdfast::WeakPtr<VValueCreator>& creator, const std::string& typeName) {
    const std::lock_guard lock(registry().mutex);
    registry().byTypeName.emplace(typeName, creator);
}

void VValueCreator::forgetExpired() {
    const std::lock_guard lock(registry().mutex);
    std::erase_if(registry().byTypeName, [](const auto& entry) { return !entry.second.lock(); });
}

Holdfast::StrongPtr<VValueCreator> VValueCreator::find(const std::string& typeName) {
    const std::lock_guard lock(registry().mutex);
    const auto [begin, end] = registry().byTypeName.equal_range(typeName);
    for (auto entry = begin; entry != end; ++entry)
        if (const auto creator = entry->second.lock()) return creator;
    return nullptr;
}

} // namespace Kesh
