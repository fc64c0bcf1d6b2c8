// SPDX-License-Identifier: Apache-2.0
#include "Fiber/Field.hpp"

#include <algorithm>

namespace Fiber {

using Holdfast::StrongPtr;

std::uint64_t Field::size() const {
    std::uint64_t size = 0;
    for (const auto& [number, fragment] : fragments_)
        if (fragment.array) size += fragment.array->size();
    return size;
}

void Field::iterate(const Visitor& visit) const {
    const Fragments fragments = fragments_;
    for (const auto& [number, fragment] : fragments)
        if (!visit(fragment.id, fragment.array)) return;
}

StrongPtr<CreativeArrayBase> Field::getCreator(const StrongPtr<FragmentID>& fragment) const {
    const auto found = fragments_.find(fragment->number());
    return found == fragments_.end() ? nullptr : found->second.array;
}

const Field::Fragment* Field::fragmentAfter(const FragmentID& fragment) const {
    auto next = fragments_.upper_bound(fragment.number());
    while (next != fragments_.end() && !next->second.array) ++next;
    return next == fragments_.end() ? nullptr : &next->second;
}

StrongPtr<const MemBase> Field::getData(const StrongPtr<FragmentID>& fragment,
                                        const Holdfast::TimeBudget& budget) const {
    const auto array = getCreator(fragment);
    return array ? array->getData(budget) : nullptr;
}

void Field::setPersistentData(const StrongPtr<CreativeArrayBase>& array, const StrongPtr<FragmentID>& fragment) {
    const std::uint32_t number = fragment->number();
    fragments_.insert_or_assign(fragments_.end(), number, Fragment{fragment, array}); // most come in order
}

Field::Age Field::getMostRecentCreatorAge() const {
    Age youngest = Ooooold;
    for (const auto& [number, fragment] : fragments_)
        if (fragment.array) youngest = std::max(youngest, fragment.array->age());
    return youngest;
}

StrongPtr<Field> Field::sharingCopy() const {
    auto copy = Holdfast::create<Field>(elementType_);
    copy->fragments_ = fragments_;
    return copy;
}

namespace {

std::size_t sizeOf(const Field::Fragment& fragment) { return fragment.array ? fragment.array->size() : 0; }

/// Calls the function with each fragment of `some` and its counterpart in `all`, null when there is none, until it
/// returns false. Both are in order, so they are walked side by side.
template <class All, class Some, class Function>
bool withCounterparts(All& all, Some& some, Function function) {
    auto counterpart = all.begin();
    for (auto& [number, fragment] : some) {
        while (counterpart != all.end() && counterpart->first < number) ++counterpart;
        const bool found = counterpart != all.end() && counterpart->first == number;
        if (!function(fragment, found ? &counterpart->second : nullptr)) return false;
    }
    return true;
}

} // namespace

void Field::exchange(Field& other, Age age) noexcept {
    withCounterparts(fragments_, other.fragments_, [&](Fragment& theirs, Fragment* ours) {
        if (!ours || !theirs.array) return true;
        ours->array.swap(theirs.array);
        ours->array->raiseAge(age);
        return true;
    });
}

bool Field::matches(const Field& other) const {
    return other.elementType_ == elementType_ &&
           withCounterparts(fragments_, other.fragments_, [](const Fragment& theirs, const Fragment* ours) {
               return ours && sizeOf(*ours) == sizeOf(theirs);
           });
}

} // namespace Fiber
