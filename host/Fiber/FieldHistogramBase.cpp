// SPDX-License-Identifier: Apache-2.0
#include "Fiber/FieldHistogramBase.hpp"

namespace Fiber {

using Holdfast::StrongPtr;
using Holdfast::WeakPtr;

namespace {

/// Two numbers: fragments, and how many of them are missing in the counts.
std::string completenessName(const std::string& name) { return HistogramAttributeName(name) + ".Completeness"; }

/// Lets go of what is kept with an array. Counting makes it again.
class Keeper : public Holdfast::Creature {
public:
    Keeper(const WeakPtr<CreativeArrayBase>& array, std::string attribute, const WeakPtr<FieldHistogramBase>& histogram,
           const WeakPtr<HistogramCounts>& counts)
        : array_(array), attribute_(std::move(attribute)), histogram_(histogram), counts_(counts) {}

    bool hasData() const override { return bool(counts_.lock()); }

    bool discardCreation() override {
        const auto array = array_.lock();
        const auto counts = counts_.lock();
        if (!array || !counts) return false;
        array->attributes().removeAttribute(attribute_, counts);
        if (const auto histogram = histogram_.lock()) array->interfaces().removeInterface(histogram);
        return true;
    }

private:
    WeakPtr<CreativeArrayBase> array_;
    std::string attribute_;
    WeakPtr<FieldHistogramBase> histogram_;
    WeakPtr<HistogramCounts> counts_;
};

} // namespace

HistogramCounts::HistogramCounts(std::size_t bins) : Chunk(bins, 0) {}
std::size_t HistogramCounts::bytes() const { return size() * sizeof(std::uint64_t); }

FieldHistogramBase::FieldHistogramBase(const Holdfast::Ageable& data) { setAge(data.age()); }

void FieldHistogramBase::keepWith(CreativeArrayBase& array, const std::string& attribute,
                                  const StrongPtr<FieldHistogramBase>& histogram,
                                  const StrongPtr<HistogramCounts>& counts) {
    array.interfaces().addInterface(histogram);
    array.attributes().setAttribute(attribute, counts);
    if (array.age() > array.attributeAge()) array.updateAttributeAge(array.age());
    if (!array.cache()) return;
    counts->keeper_ = Holdfast::create<Keeper>(array.pointer(), attribute, histogram, counts);
    counts->setCreator(counts->keeper_);
    array.cache()->insert(*counts, Holdfast::Goes::Last);
}

void FieldHistogramBase::setCompleteness(Field& field, const std::string& name, std::uint64_t fragments,
                                         std::uint64_t missing) {
    using Record = Holdfast::Chunk<std::uint64_t>;
    field.attributes().setAttribute(completenessName(name),
                                    Holdfast::create<Record>(std::initializer_list<std::uint64_t>{fragments, missing}));
}

bool FieldHistogramBase::isComplete(Field& field, const std::string& name) {
    const auto record = field.attributes().getAttribute<std::uint64_t>(completenessName(name));
    return record && record->size() == 2 && record->values[1] == 0;
}

std::string HistogramAttributeName(const std::string& name) { return "Histogram." + name; }

} // namespace Fiber
