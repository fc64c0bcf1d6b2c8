// SPDX-License-Identifier: Apache-2.0
#include "Fiber/MaskField.hpp"

#include "Fiber/History.hpp"

#include <algorithm>
#include <stdexcept>

namespace Fiber {

using Holdfast::StrongPtr;

namespace {

const std::string MaskAttribute = "Mask"; // tells a mask from other fields of bytes

class ZeroSource : public ArraySource {
public:
    explicit ZeroSource(std::size_t size) : size_(size) {}
    StrongPtr<MemBase> make() const override { return Holdfast::create<MemArray<std::uint8_t>>(size_, Unmasked); }
    bool allZero() const override { return true; }

private:
    std::size_t size_;
};

/// Whether every fragment of the mask is one of the field, and as long where the field has data.
bool fits(const Field& mask, const Field& field) {
    return std::ranges::all_of(mask.fragments(), [&](const auto& fragment) {
        const auto counterpart = field.fragments().find(fragment.first);
        if (counterpart == field.fragments().end()) return false;
        const auto &ours = fragment.second.array, &theirs = counterpart->second.array;
        return !ours || !theirs || ours->size() == theirs->size();
    });
}

[[noreturn]] void refuse(const std::string& problem) {
    throw std::runtime_error(problem + "; give the mask another name.");
}

} // namespace

StrongPtr<Field> makeMask(const Field& field) {
    const auto mask = Holdfast::create<Field>(typeid(std::uint8_t));
    mask->attributes().setAttribute(MaskAttribute, Holdfast::create<Holdfast::Chunk<bool>>(1, true));
    completeMask(*mask, field);
    return mask;
}

bool isMask(Field& field) { return bool(field.attributes().getAttribute(MaskAttribute)); }

StrongPtr<Field> findMask(const Representation& representation, const std::string& name, const Field& field) {
    if (name.empty()) refuse("The mask has no name");
    if (History::isStepName(name)) refuse("\"" + name + "\" is named as the steps of a history are");
    const auto mask = representation.findField(name);
    if (!mask) return nullptr;
    if (!isMask(*mask)) refuse("\"" + name + "\" is a field of the data and cannot be the mask");
    if (!fits(*mask, field)) refuse("The mask \"" + name + "\" belongs to other fragments than those of the field");
    return mask;
}

void completeMask(Field& mask, const Field& field) {
    for (const auto& [number, fragment] : field.fragments()) {
        if (!fragment.array || mask.getCreator(fragment.id)) continue;
        const std::size_t size = fragment.array->size();
        mask.setPersistentData(Holdfast::create<CreativeArrayBase>(typeid(std::uint8_t), size,
                                                                   Holdfast::create<ZeroSource>(size),
                                                                   fragment.array->cache()),
                               fragment.id);
    }
}

} // namespace Fiber
