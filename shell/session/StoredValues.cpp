// SPDX-License-Identifier: Apache-2.0
#include "session/StoredValues.hpp"

namespace corvane {
namespace {

using Holdfast::StrongPtr;

template <class T>
class VersionSource : public Fiber::ArraySource {
public:
    VersionSource(StoredFragment fragment, StepId afterStep) : fragment_(std::move(fragment)), afterStep_(afterStep) {}

    StrongPtr<Fiber::MemBase> make() const override {
        const auto made = beginning();
        fragment_.store->valuesOf(fragment_.field, fragment_.number, afterStep_,
                                  std::as_writable_bytes(made->writableValues()), *fragment_.halfSaved);
        return made;
    }

private:
    StrongPtr<Fiber::MemArray<T>> beginning() const {
        const std::size_t size = fragment_.original->size();
        if (fragment_.isZero) return Holdfast::create<Fiber::MemArray<T>>(size, T(0));
        return Holdfast::cast<Fiber::MemArray<T>>(fragment_.original->getData()->copy());
    }

    StoredFragment fragment_;
    StepId afterStep_;
};

} // namespace

StrongPtr<Fiber::ArraySource> sourceOf(const StoredFragment& fragment, StepId afterStep) {
    if (fragment.original->getFiberType() == typeid(std::uint16_t))
        return Holdfast::create<VersionSource<std::uint16_t>>(fragment, afterStep);
    return Holdfast::create<VersionSource<std::uint8_t>>(fragment, afterStep);
}

StrongPtr<Fiber::CreativeArrayBase> arrayOf(const StoredFragment& fragment, StepId afterStep) {
    return Holdfast::create<Fiber::CreativeArrayBase>(fragment.original->getFiberType(), fragment.original->size(),
                                                      sourceOf(fragment, afterStep), fragment.original->cache());
}

} // namespace corvane
