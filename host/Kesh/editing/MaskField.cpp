// SPDX-License-Identifier: Apache-2.0
#include "Kesh/editing/MaskField.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

namespace Kesh {

using Holdfast::StrongPtr;

namespace {

const std::string MaskAttribute = "Mask"; // tells a mask from other fields of bytes

class ZeroSource : public Fiber::ArraySource {
public:
    explicit ZeroSource(std::size_t size) : size_(size) {}
    StrongPtr<Fiber::MemBase> make() const override {
        return Holdfast::create<Fiber::MemArray<std::uint8_t>>(size_, Unmasked);
    }
    bool allZero() const override { return true; }

private:
    std::size_t size_;
};

std::size_t sizeOf(const Fiber::Field::Fragment& fragment) { return fragment.array ? fragment.array->size() : 0; }

bool sameFragments(const Fiber::Field& mask, const Fiber::Field& field) {
    return mask.fragments().size() == field.fragments().size() &&
           std::equal(
               mask.fragments().begin(), mask.fragments().end(), field.fragments().begin(),
               [](const auto& a, const auto& b) { return a.first == b.first && sizeOf(a.second) == sizeOf(b.second); });
}

} // namespace

StrongPtr<Fiber::Field> makeMask(const Fiber::Field& field) {
    const auto mask = Holdfast::create<Fiber::Field>(typeid(std::uint8_t));
    mask->attributes().setAttribute(MaskAttribute, Holdfast::create<Holdfast::Chunk<bool>>(1, true));
    for (const auto& [number, fragment] : field.fragments()) {
        const std::size_t size = sizeOf(fragment);
        mask->setPersistentData(
            Holdfast::create<Fiber::CreativeArrayBase>(typeid(std::uint8_t), size, Holdfast::create<ZeroSource>(size),
                                                       fragment.array ? fragment.array->cache() : nullptr),
            fragment.id);
    }
    return mask;
}

StrongPtr<Fiber::Field> findMask(const Fiber::Representation& representation, const std::string& name,
                                 const Fiber::Field& field) {
    if (name.empty()) throw std::runtime_error("The mask has no name; give it one. Nothing has been changed.");
    const auto mask = representation.findField(name);
    if (!mask) return nullptr;
    if (!mask->attributes().getAttribute(MaskAttribute))
        throw std::runtime_error(
            fmt::format("\"{}\" is a field of the data and cannot be the mask; give the mask another "
                        "name. Nothing has been changed.",
                        name));
    if (!sameFragments(*mask, field))
        throw std::runtime_error(
            fmt::format("The mask \"{}\" belongs to other fragments than those of the field; give the "
                        "mask another name. Nothing has been changed.",
                        name));
    return mask;
}

} // namespace Kesh
