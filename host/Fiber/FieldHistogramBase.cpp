// SPDX-License-Identifier: Apache-2.0
#include "Fiber/FieldHistogramBase.hpp"

namespace Fiber {
namespace {

/// Two numbers: fragments, and how many of them are missing in the counts.
std::string completenessName(const std::string& name) { return HistogramAttributeName(name) + ".Completeness"; }

} // namespace

HistogramCounts::HistogramCounts(std::size_t bins) : Chunk(bins, 0) {}
std::size_t HistogramCounts::bytes() const { return size() * sizeof(std::uint64_t); }

FieldHistogramBase::FieldHistogramBase(const Holdfast::Ageable& data) { setAge(data.age()); }

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
