// SPDX-License-Identifier: Apache-2.0
#include "render/FragmentLoader.hpp"

#include "base/Failure.hpp"
#include "picture/Look.hpp"
#include "render/Columns.hpp"
#include "survey/SurveyFields.hpp"

#include <algorithm>
#include <fmt/format.h>

namespace corvane {
namespace {

using Point = Sextant::PhysicalSpace::point;
using Order = std::shared_ptr<const std::vector<std::uint32_t>>;
using Values = Holdfast::StrongPtr<const Fiber::MemBase>;

/// What is not resident, in one pass over the records.
void loadMissing(const LoadJob& job) {
    std::vector<LoadJob::Array> missing;
    const auto note = [&](const LoadJob::Array& array) {
        if (array && !array->hasData()) missing.push_back(array); // only of those may the source be looked at
    };
    note(job.positions);
    for (const auto& [name, arrays] : job.columns) std::ranges::for_each(arrays, note);
    if (missing.size() > 1) loadTogether(missing);
}

Values valuesOf(const LoadJob& job, const LoadJob::Array& array, std::size_t total) {
    const Values values = array ? array->getData() : nullptr;
    if (values && values->size() != total)
        throw Failure(fmt::format("Fragment {} has {} points, and {} values in a field that is to be shown.",
                                  job.number, total, values->size()));
    return values;
}

/// That of the size, unless there are points that cannot be drawn: then all others.
Order orderFor(std::span<const Point> positions, bool& usual) {
    const Order all = drawOrder(positions.size());
    usual = std::ranges::all_of(positions, isFinite);
    if (usual) return all;
    std::vector<std::uint32_t> finite;
    for (const std::uint32_t i : *all)
        if (isFinite(positions[i])) finite.push_back(i);
    return std::make_shared<const std::vector<std::uint32_t>>(std::move(finite));
}

Order packPoints(const LoadJob& job, DrawnFragment& fragment) {
    const Values values = valuesOf(job, job.positions, job.positions->size());
    const auto positions = Fiber::arrayOf<Point>(values);
    if (!positions) throw Failure(fmt::format("The positions of fragment {} are no points.", job.number));
    bool usual = true;
    const Order order = orderFor(positions->values(), usual);
    if (!usual) fragment.order = order;
    fragment.total = positions->size();
    fragment.most = job.most;
    fragment.packed = std::make_shared<const PackedPoints>(
        pack(positions->values(), job.unit, std::span(*order).first(std::min(job.keep, order->size()))));
    return order;
}

} // namespace

std::shared_ptr<const DrawnFragment> loadFragment(const LoadJob& job) {
    loadMissing(job);
    auto fragment = job.before ? std::make_shared<DrawnFragment>(*job.before) : std::make_shared<DrawnFragment>();
    fragment->number = job.number;
    Order order;
    if (job.positions) {
        fragment->columns.clear();
        fragment->order = nullptr;
        order = packPoints(job, *fragment);
    } else {
        order = fragment->order ? fragment->order : drawOrder(fragment->total);
    }
    for (const auto& [name, arrays] : job.columns) {
        std::vector<Values> values;
        for (const LoadJob::Array& array : arrays) values.push_back(valuesOf(job, array, fragment->total));
        fragment->columns.erase(name);
        if (auto column = makeColumn(name, values, std::span(*order).first(fragment->drawable())))
            fragment->columns[name] = std::move(column);
    }
    return fragment;
}

std::shared_ptr<const DrawnFragment> shortened(const DrawnFragment& fragment, std::size_t count) {
    const std::size_t kept = std::min(count, fragment.drawable());
    auto result = std::make_shared<DrawnFragment>(fragment);
    auto packed = std::make_shared<PackedPoints>();
    packed->box = fragment.packed->box;
    packed->step = fragment.packed->step;
    packed->points.assign(fragment.packed->points.begin(),
                          fragment.packed->points.begin() + static_cast<std::ptrdiff_t>(kept));
    result->packed = std::move(packed);
    for (auto& [name, column] : result->columns) column = shortened(*column, kept);
    return result;
}

DrawnFragments sampleFragments(std::span<const Point> positions, std::span<const std::uint16_t> classes,
                               const Point& unit) {
    constexpr std::size_t largest = 131072;
    const std::size_t parts = (positions.size() + largest - 1) / largest;
    DrawnFragments fragments;
    for (std::size_t part = 0; part < parts; ++part) {
        std::vector<Point> points;
        DrawnColumn::Words codes;
        for (std::size_t i = part; i < positions.size(); i += parts) {
            if (!isFinite(positions[i])) continue;
            points.push_back(positions[i]);
            if (!classes.empty()) codes.push_back(classes[i]);
        }
        const Order order = drawOrder(points.size());
        auto fragment = std::make_shared<DrawnFragment>();
        fragment->total = fragment->most = points.size();
        fragment->packed = std::make_shared<const PackedPoints>(pack(points, unit, *order));
        if (!codes.empty()) {
            DrawnColumn::Words ordered(codes.size());
            std::ranges::transform(*order, ordered.begin(), [&](std::uint32_t i) { return codes[i]; });
            fragment->columns[column::Class] = std::make_shared<const DrawnColumn>(DrawnColumn{std::move(ordered)});
        }
        fragments.push_back(std::move(fragment));
    }
    return fragments;
}

} // namespace corvane
