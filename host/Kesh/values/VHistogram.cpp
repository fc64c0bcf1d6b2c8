// SPDX-License-Identifier: Apache-2.0
#include "Kesh/values/VHistogram.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <numeric>
#include <stdexcept>

namespace Kesh {

using Holdfast::StrongPtr;
using Json = nlohmann::ordered_json;

namespace {

/// Calls the function with the values as a vector of their type; nothing happens with other types.
template <class Function>
void visitValues(const VHistogram& histogram, Function function) {
    if (const auto bytes = Holdfast::cast<Holdfast::Chunk<unsigned char>>(histogram.values)) function(bytes->values);
    if (const auto words = Holdfast::cast<Holdfast::Chunk<unsigned short>>(histogram.values)) function(words->values);
}

std::vector<std::uint32_t> valuesOf(const VHistogram& histogram) {
    std::vector<std::uint32_t> all;
    visitValues(histogram, [&](const auto& values) { all.assign(values.begin(), values.end()); });
    return all;
}

template <class T>
StrongPtr<Holdfast::ChunkBase> chunkOf(const std::vector<std::uint32_t>& values) {
    const auto chunk = Holdfast::create<Holdfast::Chunk<T>>(values.size());
    std::ranges::transform(values, chunk->values.begin(), [](std::uint32_t value) { return static_cast<T>(value); });
    return chunk;
}

} // namespace

void VHistogram::setValues(const std::type_info& type, const std::vector<std::uint32_t>& occurring) {
    values = type == typeid(unsigned char) ? chunkOf<unsigned char>(occurring) : chunkOf<unsigned short>(occurring);
}

std::uint32_t VHistogram::value(std::size_t i) const {
    std::uint32_t value = 0;
    visitValues(*this, [&](const auto& typed) { value = typed[i]; });
    return value;
}

bool VHistogram::isConsistent() const {
    if (!values || values->size() != counts.size()) return false;
    if (minimum.size() != sum.size() || maximum.size() != sum.size()) return false;
    return sum.empty() || sum.size() == counts.size();
}

std::uint64_t VHistogram::total() const { return std::accumulate(counts.begin(), counts.end(), std::uint64_t{0}); }

bool VHistogram::sameContentAs(const VHistogram& other) const {
    return valuesOf(*this) == valuesOf(other) && counts == other.counts && minimum == other.minimum &&
           maximum == other.maximum && sum == other.sum && secondaryName == other.secondaryName &&
           region == other.region && title == other.title && complete == other.complete;
}

std::string VValueTrait<VHistogram>::Text(const VHistogram& histogram) {
    Json values = Json::array();
    for (std::size_t i = 0; i < histogram.size(); ++i) {
        const bool any = histogram.hasStatistics() && histogram.minimum[i] <= histogram.maximum[i];
        values.push_back({{"value", histogram.value(i)},
                          {"count", histogram.counts[i]},
                          {"minimum", any ? Json(histogram.minimum[i]) : Json()},
                          {"maximum", any ? Json(histogram.maximum[i]) : Json()},
                          {"mean", any ? Json(histogram.mean(i)) : Json()}});
    }
    return Json{{"title", histogram.title},
                {"region", histogram.region},
                {"complete", histogram.complete},
                {"outOfDate", histogram.outOfDate},
                {"total", histogram.total()},
                {"secondary", histogram.secondaryName},
                {"values", values}}
        .dump(-1, ' ', false, Json::error_handler_t::replace);
}

void VValueTrait<VHistogram>::setValueFromText(VHistogram&, const std::string&) {
    throw std::invalid_argument("A histogram is counted and cannot be given as text");
}

template class VValue<VHistogram>;

} // namespace Kesh
