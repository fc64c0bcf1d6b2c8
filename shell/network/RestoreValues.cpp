// SPDX-License-Identifier: Apache-2.0
#include "network/RestoreValues.hpp"

#include "Fiber/FragmentBox.hpp"
#include "Fiber/History.hpp"
#include "Kesh/editing/VertexSelection.hpp"
#include "base/Failure.hpp"
#include "las/PointCodec.hpp"
#include "network/FieldRange.hpp"

#include <fmt/format.h>

#include <cmath>
#include <map>

namespace corvane {
namespace {

using Holdfast::StrongPtr;
using Point = Sextant::PhysicalSpace::point;
using Indices = std::span<const std::uint32_t>;

const Kesh::ParameterTable Own{
    {.name = "restore", .initial = Kesh::Action(), .help = "Gives the points their values back, once."},
    {.name = "values", .initial = "", .help = "A file of the same points, whose values they get; empty: their own."},
    {.name = "tally", .initial = ClassTally(), .help = "How many points changed.", .isOutput = true},
};

/// The values that a fragment's points get.
class Source {
public:
    virtual ~Source() = default;

    /// Of all points, of which those with these indices are sound; empty where the fragment stays as it is.
    virtual std::vector<std::uint16_t> of(std::uint32_t fragment, Indices indices) = 0;
};

/// Those before the first step of the history. What the first one that changed a fragment put aside is what it had.
class BeforeHistory : public Source {
public:
    BeforeHistory(Fiber::Representation& points, const std::string& name) {
        const auto* const history = points.histories().find(name);
        for (std::size_t i = 0; history && i < history->done; ++i)
            for (const auto& [number, fragment] : history->all[i].field->fragments())
                arrays_.emplace(number, fragment.array);
    }

    std::vector<std::uint16_t> of(std::uint32_t fragment, Indices) override {
        std::vector<std::uint16_t> values;
        if (const auto array = arrays_.find(fragment); array != arrays_.end())
            Fiber::visitArray<std::uint8_t, std::uint16_t>(*array->second->getData(), [&](const auto& data) {
                values.assign(data.values().begin(), data.values().end());
            });
        return values;
    }

private:
    std::map<std::uint32_t, StrongPtr<Fiber::CreativeArrayBase>> arrays_;
};

/// Those of another file.
class OtherSurvey : public Source {
public:
    OtherSurvey(const std::string& path, const Survey& survey, const std::string& name)
        : survey_(survey), other_(path), field_(other_.findField(name)) {
        const std::uint64_t own = survey.las().header.pointCount, others = other_.las().header.pointCount;
        if (own != others)
            throw Failure(fmt::format("{}: has {} points where {} has {}: those are not the same points. Nothing was "
                                      "changed.",
                                      path, others, survey.path(), own));
        if (largestValueOf(other_, field_) == 0)
            throw Failure(fmt::format("{}: {} holds values of type {} there, where whole numbers of 8 or 16 bits are "
                                      "expected. Nothing was changed.",
                                      path, field_.name, field_.type));
        largest_ = largestValueOf(survey, survey.findField(name));
    }

    std::vector<std::uint16_t> of(std::uint32_t fragment, Indices indices) override {
        const PointRange& range = survey_.ranges().at(fragment);
        const Dimension& dimension = other_.las().dimensions[field_.dimension];
        const PointReader& reader = *other_.las().points;
        std::vector<std::byte> records(range.count * reader.recordLength());
        reader.read(range.first, records, {{0, 3 * sizeof(std::int32_t)}, dimension.place()});
        requireSamePlaces(range, records, fragment, indices);
        std::vector<double> numbers(range.count);
        decodeNumbers(records, reader.recordLength(), dimension, std::span(numbers));
        for (const std::uint32_t i : indices)
            if (numbers[i] > largest_)
                throw Failure(fmt::format("{}: point {} has the value {}, and {} holds 0 to {} in {}. Nothing was "
                                          "changed.",
                                          other_.path(), range.first + i, numbers[i], field_.name, largest_,
                                          survey_.path()));
        return {numbers.begin(), numbers.end()};
    }

private:
    void requireSamePlaces(const PointRange& range, std::span<const std::byte> records, std::uint32_t fragment,
                           Indices indices) const {
        const LasHeader &header = other_.las().header, &own = survey_.las().header;
        std::vector<Point> places(range.count);
        decodePositions(records, other_.las().points->recordLength(), header, std::span(places));
        const auto positions = survey_.points().findField(Fiber::PositionsName);
        const auto data = Fiber::arrayOf<Point>(positions->getData(positions->fragments().at(fragment).id));
        const Point tolerance(std::max(std::abs(header.scale[0]), std::abs(own.scale[0])),
                              std::max(std::abs(header.scale[1]), std::abs(own.scale[1])),
                              std::max(std::abs(header.scale[2]), std::abs(own.scale[2])));
        for (const std::uint32_t i : indices) {
            const Point &here = data->values()[i], &there = places[i];
            if (std::abs(here.x - there.x) <= tolerance.x && std::abs(here.y - there.y) <= tolerance.y &&
                std::abs(here.z - there.z) <= tolerance.z)
                continue;
            throw Failure(fmt::format("{}: point {} lies at {} {} {} there, and at {} {} {} in {}: those are not the "
                                      "same points. Nothing was changed.",
                                      other_.path(), range.first + i, there.x, there.y, there.z, here.x, here.y, here.z,
                                      survey_.path()));
        }
    }

    const Survey& survey_;
    const Survey other_;
    const SurveyField& field_;
    std::uint32_t largest_ = 0;
};

/// Writes those values that differ. Returns how many.
template <class T>
std::uint64_t writeValues(Fiber::CreativeArrayBase& array, const std::vector<std::uint16_t>& values, Indices indices) {
    const auto target = array.writableData<T>();
    if (!target) return 0;
    std::uint64_t written = 0;
    const std::span<T> out = target->writableValues();
    for (const std::uint32_t i : indices) {
        written += out[i] != values[i];
        out[i] = static_cast<T>(values[i]);
    }
    return written;
}

} // namespace

RestoreValues::RestoreValues(const std::string& name, std::shared_ptr<const Survey> survey)
    : EditField(name, 0, nullptr, "labelfield", Own),
      survey_(std::move(survey)),
      restore_(*this, "restore"),
      values_(*this, "values"),
      tally_(*this, "tally") {}

bool RestoreValues::wantsFieldOperation(const Kesh::VRequest& request, Fiber::Representation&, const std::string&,
                                        const FieldPtr&) {
    return hasChanged(*restore_, *request.pool) || brushSlot().ValueAge(*request.pool) > age(*request.pool);
}

std::string RestoreValues::FieldOperation(Kesh::VRequest& request, const FieldPtr& field,
                                          Fiber::Representation& representation) {
    const std::string name = selectedField(request).getFieldName(), path = values_.get(*request.pool);
    std::unique_ptr<Source> source;
    if (path.empty())
        source = std::make_unique<BeforeHistory>(representation, name);
    else
        source = std::make_unique<OtherSurvey>(path, *survey_, name);
    const auto brush = brushOf(request);
    Kesh::VertexSelection selection(representation, brush ? &*brush : nullptr);
    const auto modify = [&](const FragmentPtr& fragment, const ArrayPtr& array) -> FragmentModification {
        const auto indices = selection.of(fragment, array->size());
        if (indices.empty()) return {};
        const auto values = source->of(fragment->number(), indices);
        if (values.size() != array->size()) return {};
        const ArrayPtr copy = array->privateCopy();
        copy->touch(request.time);
        const std::uint64_t written =
            writeValues<std::uint8_t>(*copy, values, indices) + writeValues<std::uint16_t>(*copy, values, indices);
        return {written > 0 ? copy : nullptr, {written, written}};
    };
    const Outcome outcome = applyRecorded({request, dataHistory(), representation, field, name}, *field, modify);
    ClassTally tally;
    tally.changed = outcome.changes.vertices;
    tally_->parameter()->setValue(*request.pool, Holdfast::create<Kesh::VValue<ClassTally>>(tally), request.time);
    return outcome.report();
}

} // namespace corvane
