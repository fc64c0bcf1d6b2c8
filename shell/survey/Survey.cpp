// SPDX-License-Identifier: Apache-2.0
#include "survey/Survey.hpp"

#include "Fiber/FragmentBox.hpp"
#include "Kesh/values/LabelAttributes.hpp"
#include "base/Failure.hpp"
#include "base/NearestName.hpp"
#include "las/CoordinateText.hpp"
#include "survey/ClassLookup.hpp"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <limits>
#include <set>

namespace corvane {

using Holdfast::StrongPtr;

namespace {

constexpr double Time = 0;
const std::string GridName = "Points";

} // namespace

Survey::Survey(const std::string& path, const SurveyOptions& options)
    : las_(std::make_shared<const LasFile>(
          LasFile::open(std::make_shared<const InputFile>(path, options.overlay), options.reading))),
      options_(options),
      ranges_(las_->points->ranges(options.fragmentPoints,
                                   las_->copc ? PointReader::Joining::None : PointReader::Joining::Small)),
      fields_(fieldsOf(*las_)),
      warnings_(las_->warnings),
      bundle_(Holdfast::create<Fiber::Bundle>()) {
    const auto cache = Holdfast::create<Holdfast::Cache>(options.memoryBytes);
    points_ = (*(*bundle_)[Time])[GridName]->verticesPtr();

    if (ranges_.size() > std::numeric_limits<std::uint32_t>::max())
        throw Failure(fmt::format("{}: {} points are too many for fragments of {}; choose larger fragments.", path,
                                  las_->header.pointCount, options.fragmentPoints));
    std::vector<StrongPtr<Fiber::FragmentID>> identifiers;
    std::vector<std::shared_ptr<const FragmentRecords>> records;
    for (std::uint32_t i = 0; i < ranges_.size(); ++i) {
        identifiers.push_back(Holdfast::create<Fiber::FragmentID>(i));
        records.push_back(std::make_shared<const FragmentRecords>(las_, ranges_[i], expectation_, cache));
    }

    for (const SurveyField& field : fields_) {
        const std::type_info& type = elementTypeOf(*las_, field);
        const auto data = Holdfast::create<Fiber::Field>(type);
        const auto positions = points_->findField(Fiber::PositionsName); // the first field; null: this is it
        for (const auto& id : identifiers) {
            const BoxNote note{expectation_, positions ? positions->getCreator(id) : nullptr};
            const auto& of = records[id->number()];
            data->setPersistentData(
                Holdfast::create<Fiber::CreativeArrayBase>(type, of->count(), sourceOf(of, field, note), cache), id);
        }
        points_->makeField(points_->makeFieldID(field.name), data);
        original_.push_back(data->sharingCopy());
    }
    if (las_->copc) noteNodeBoxes();
    readLabels();
}

/// The points of an octree's node lie in its cube, up to what rounding to the scale may move them: nobody has to decode
/// them for knowing where they are.
void Survey::noteNodeBoxes() {
    const auto positions = points_->findField(Fiber::PositionsName);
    const auto& chunks = las_->compression()->chunks;
    const auto& scale = las_->header.scale;
    const Sextant::PhysicalSpace::point unit(std::abs(scale[0]), std::abs(scale[1]), std::abs(scale[2]));
    std::size_t chunk = 0;
    for (const auto& [number, fragment] : positions->fragments()) {
        while (ranges_[number].first >= chunks[chunk].first + chunks[chunk].points) ++chunk;
        const Copc::Box cube = las_->copc->boxOf(las_->copc->entries[las_->copc->nodeOfChunk[chunk]]);
        Sextant::BoundingBox box;
        box.include({cube.low[0] - unit.x, cube.low[1] - unit.y, cube.low[2] - unit.z});
        box.include({cube.high[0] + unit.x, cube.high[1] + unit.y, cube.high[2] + unit.z});
        Fiber::noteFragmentBBox(*fragment.array, box);
    }
}

void Survey::readLabels() {
    const auto labels = readClassLookup(*las_, warnings_);
    const auto classes = points_->findField(ClassificationName);
    if (labels && classes) Kesh::storeLabelSet(*labels, *classes, Holdfast::Ageable::nextTime());
}

std::optional<Kesh::LabelSet> Survey::labels() const {
    const auto classes = points_->findField(ClassificationName);
    return classes ? Kesh::readLabelSet(classes->attributes()) : std::nullopt;
}

const SurveyField& Survey::findField(const std::string& name) const {
    for (const std::string& known : {name, withoutAlias(name)})
        for (const SurveyField& field : fields_)
            if (sameName(field.name, known)) return field;
    std::vector<std::string> names;
    for (const SurveyField& field : fields_) names.push_back(field.name);
    throw UsageError(fmt::format("{}: there is no field \"{}\". {}", path(), name, suggestNames(name, names)));
}

Fiber::FieldSelector Survey::selector(const std::string& fieldName) const {
    Fiber::GridSelector grid;
    grid.bundle = bundle_;
    grid.time = Time;
    grid.gridName = GridName;
    return {grid, fieldName};
}

void Survey::expectField(const SurveyField& field) const {
    if (field.dimension != SurveyField::None) expectation_->alsoWanted({las_->asRead(field.dimension).place()});
}

Sextant::BoundingBox Survey::expressibleBox() const {
    const LasHeader& header = las_->header;
    Sextant::BoundingBox box;
    for (const double stored :
         {double(std::numeric_limits<std::int32_t>::min()), double(std::numeric_limits<std::int32_t>::max())})
        box.include({stored * header.scale[0] + header.offset[0], stored * header.scale[1] + header.offset[1],
                     stored * header.scale[2] + header.offset[2]});
    return box;
}

std::vector<std::uint32_t> Survey::editedFragments(const SurveyField& field) const {
    std::vector<std::uint32_t> numbers;
    const auto now = points_->findField(field.name);
    if (!now) return numbers;
    for (const auto& [number, fragment] : original_[static_cast<std::size_t>(&field - fields_.data())]->fragments())
        if (const auto array = now->getCreator(fragment.id); array && array != fragment.array)
            numbers.push_back(number);
    return numbers;
}

std::vector<std::uint32_t> Survey::editedFragments() const {
    std::set<std::uint32_t> numbers;
    for (const SurveyField& field : fields_)
        for (const std::uint32_t number : editedFragments(field)) numbers.insert(number);
    return {numbers.begin(), numbers.end()};
}

std::vector<Survey::Edit> Survey::edits(const PointRange& within) const {
    const auto isBefore = [&](const PointRange& range) { return range.first + range.count <= within.first; };
    const auto begins = [&](const PointRange& range) {
        return range.first < within.first || range.first - within.first < within.count;
    };
    const auto first = static_cast<std::uint32_t>(std::ranges::partition_point(ranges_, isBefore) - ranges_.begin());
    const auto last = static_cast<std::uint32_t>(std::ranges::partition_point(ranges_, begins) - ranges_.begin());
    std::vector<Edit> edits;
    for (std::size_t i = 0; i < fields_.size(); ++i) {
        const auto now = points_->findField(fields_[i].name);
        if (!now) continue;
        const auto& fragments = original_[i]->fragments();
        const auto end = fragments.lower_bound(last);
        for (auto fragment = fragments.lower_bound(first); fragment != end; ++fragment)
            if (const auto array = now->getCreator(fragment->second.id); array && array != fragment->second.array)
                edits.push_back({&fields_[i], ranges_[fragment->first], array->getData()});
    }
    std::stable_sort(edits.begin(), edits.end(),
                     [](const Edit& a, const Edit& b) { return a.range.first < b.range.first; });
    return edits;
}

Holdfast::Ageable::Age Survey::editedAt() const {
    auto latest = Holdfast::Ageable::Ooooold;
    for (std::size_t i = 0; i < fields_.size(); ++i) {
        const auto now = points_->findField(fields_[i].name);
        if (!now) continue;
        for (const auto& [number, fragment] : original_[i]->fragments())
            if (const auto array = now->getCreator(fragment.id); array && array != fragment.array)
                latest = std::max(latest, array->age());
    }
    return latest;
}

PointEdits Survey::pointEdits(const PointRange& within) const {
    const auto owned = std::make_shared<const std::vector<Edit>>(edits(within));
    std::vector<PointEdit> stored;
    for (const Edit& edit : *owned)
        Fiber::visitArray<std::uint8_t, std::int8_t, std::uint16_t, std::int16_t, std::uint32_t, std::int32_t,
                          std::uint64_t, std::int64_t, float, double>(*edit.values, [&](const auto& array) {
            stored.push_back(
                {las_->dimensions[edit.field->dimension], edit.range.first, std::as_bytes(array.values())});
        });
    return {std::move(stored), owned};
}

LasFile Survey::edited() const {
    LasFile las = *las_;
    if (editedAt() != Holdfast::Ageable::Ooooold)
        las.points = std::make_shared<const EditedPoints>(las_->points, pointEdits());
    return las;
}

std::vector<std::string> Survey::lateWarnings() const {
    if (las_->copc) return {}; // whose boxes are those of nodes
    const LasHeader& header = las_->header;
    const auto positions = points_->findField(Fiber::PositionsName);
    Sextant::BoundingBox seen;
    for (const auto& [number, fragment] : positions->fragments()) {
        if (const auto box = Fiber::knownFragmentBBox(*positions, fragment.id); box && !box->empty()) {
            seen.include(box->minimum);
            seen.include(box->maximum);
        }
    }
    std::vector<std::string> warnings;
    for (int axis = 0; axis < 3 && !seen.empty(); ++axis) {
        const auto a = static_cast<std::size_t>(axis);
        const double tolerance = std::abs(header.scale[a]); // headers are often rounded to the last digit
        if (seen.minimum[axis] < header.minimum[a] - tolerance || seen.maximum[axis] > header.maximum[a] + tolerance)
            warnings.push_back(fmt::format("The header's bounds are wrong: {} is {} to {} there, and {} to {} in "
                                           "the points that were read. The "
                                           "points count; the header is left as it is.",
                                           "XYZ"[axis], plainCoordinate(header, a, header.minimum[a]),
                                           plainCoordinate(header, a, header.maximum[a]),
                                           coordinateText(header, a, seen.minimum[axis]),
                                           coordinateText(header, a, seen.maximum[axis])));
    }
    return warnings;
}

} // namespace corvane
