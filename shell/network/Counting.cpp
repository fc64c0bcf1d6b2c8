// SPDX-License-Identifier: Apache-2.0
#include "network/Counting.hpp"

#include "Fiber/FragmentBox.hpp"
#include "Kesh/catalogue/VCreator.hpp"
#include "Kesh/objects/VObject.hpp"
#include "Kesh/values/BoxValue.hpp"
#include "network/HostWatch.hpp"
#include "survey/BrushedPoints.hpp"

#include <fmt/format.h>
#include <glm/common.hpp>
#include <glm/vector_relational.hpp>

#include <cmath>
#include <optional>

namespace corvane {
namespace {

using Holdfast::StrongPtr;
using Sextant::BoundingBox;
using Point = Sextant::PhysicalSpace::point;

constexpr char ModuleType[] = "Compute/PointCloudHistogram";

/// An object of the module, for one count.
class Counter {
public:
    Counter(const CountTask& task, const Watch& watch) : watched_(watch) {
        const auto creator = Kesh::VCreatorBase::find(ModuleType);
        if (!creator) throw Failure(fmt::format("The plug-in has no module \"{}\" to count with.", ModuleType));
        object_ = creator->create("count", nullptr);
        set("inputfield", task.field);
        set("secondaryfield", task.secondary);
        set("labels", task.labels);
    }
    ~Counter() { Kesh::VCreatorBase::deleteInstance(object_); }
    Counter(const Counter&) = delete;
    Counter& operator=(const Counter&) = delete;

    template <class T>
    void set(const char* slot, T value) {
        object_.lock()->findSlot(slot)->parameter()->setValue(
            *pool_, Holdfast::create<Kesh::VValue<T>>(std::move(value)), Holdfast::Ageable::nextTime());
    }

    Count countIn(const char* scope) {
        set("scope", Kesh::Enum{scope});
        const auto object = object_.lock();
        const bool succeeded = object->update(Kesh::VRequest(pool_));
        watched_.check();
        const std::string status = object->status(*pool_).text;
        if (!succeeded) throw Failure(status);
        const auto value = object->findOutput("histogram")->getValueBase(*pool_);
        return {Holdfast::cast<Kesh::VValue<Kesh::VHistogram>>(value)->value, status};
    }

    /// Goes on where the module's time limit ended the count before.
    Count countAll() {
        Count counted;
        for (std::uint64_t before = 0;; before = counted.histogram.total()) {
            set("compute", Holdfast::create<Kesh::VAction>());
            counted = countIn("WholeDataset");
            if (counted.complete() || counted.histogram.total() <= before) return counted;
        }
    }

    Count countInBox(const BoundingBox& box) {
        set("Bounding Box", Kesh::BoxPtr(std::make_shared<BoundingBox>(box)));
        return countIn("Region");
    }

    Count countWhereNotZero(const std::string& mask) {
        set("maskfield", mask);
        return countIn("Mask");
    }

    Count countUnder(const Kesh::Brush& brush) {
        set("brush", brush);
        return countIn("Brush");
    }

private:
    HostWatch watched_;
    StrongPtr<Kesh::ValuePool> pool_ = Holdfast::create<Kesh::ValuePool>();
    Holdfast::WeakPtr<Kesh::VObject> object_; // its creator's
};

/// A field of the representation for as long as this lives.
class TemporaryField {
public:
    TemporaryField(Fiber::Representation& representation, const std::string& name, const StrongPtr<Fiber::Field>& field)
        : representation_(representation), name_(name) {
        representation_.makeField(representation_.makeFieldID(name), field);
    }
    ~TemporaryField() { representation_.removeField(name_); }
    TemporaryField(const TemporaryField&) = delete;
    TemporaryField& operator=(const TemporaryField&) = delete;

private:
    Fiber::Representation& representation_;
    std::string name_;
};

/// Heights are taken from the positions.
bool isField(const std::string& secondary) { return !secondary.empty() && secondary != "Z" && secondary != "z"; }

/// Chooses how the module counts each kind of region.
class Counting {
public:
    Counting(const Survey& survey, const CountTask& task, const Watch& watch)
        : survey_(survey), task_(task), watch_(watch), counter_(task, watch) {}

    Count operator()(const BoundingBox& box) { return counter_.countInBox(box); }
    Count operator()(const CountTask::WhereNotZero& region) { return counter_.countWhereNotZero(region.mask); }

    /// A whole count has no second quantity; one in a box around everything has.
    Count operator()(CountTask::WholeSurvey) {
        return task_.secondary.empty() || noPoints() ? counter_.countAll() : countInBounds();
    }

    /// The scope for brushes loads nothing and knows positions only. What asks for other fields, or does not fit into
    /// memory at once, is counted through a mask.
    Count operator()(const Kesh::Brush& brush) {
        BrushedPoints points(survey_, brush, watch_);
        std::vector<std::string> fields{task_.field.getFieldName()};
        if (isField(task_.secondary)) fields.push_back(task_.secondary);
        if (brush.fields().empty() && points.load(fields)) return counter_.countUnder(brush);
        const std::string name = "points under a brush"; // no dimension is called so
        const TemporaryField mask(survey_.points(), name, points.mask(fields));
        return counter_.countWhereNotZero(name);
    }

private:
    bool noPoints() const { return survey_.las().header.pointCount == 0; }

    /// The header's bounds, which are those of the points in most files, or else these, which are known by then.
    Count countInBounds() {
        const LasHeader& header = survey_.las().header;
        const auto corner = [](const std::array<double, 3>& c) { return Point(c[0], c[1], c[2]); };
        const BoundingBox stated(corner(header.minimum), corner(header.maximum));
        const bool numbers = glm::all(glm::lessThan(glm::abs(stated.maximum - stated.minimum), Point(HUGE_VAL)));
        const Count counted = counter_.countInBox(numbers ? stated : survey_.expressibleBox());
        if (!counted.complete()) return counted;
        const BoundingBox bounds = boundsOfPoints();
        const Point unit = glm::abs(corner(header.scale));
        const bool same = glm::all(glm::lessThanEqual(glm::abs(bounds.minimum - stated.minimum), unit)) &&
                          glm::all(glm::lessThanEqual(glm::abs(bounds.maximum - stated.maximum), unit));
        return same && counted.histogram.total() == header.pointCount ? counted : counter_.countInBox(bounds);
    }

    BoundingBox boundsOfPoints() const {
        const auto positions = survey_.points().findField(Fiber::PositionsName);
        BoundingBox bounds;
        for (const auto& [number, fragment] : positions->fragments()) {
            const BoundingBox box = Fiber::getFragmentBBox(*positions, fragment.id);
            bounds.include(box.minimum);
            bounds.include(box.maximum);
        }
        return bounds;
    }

    const Survey& survey_;
    const CountTask& task_;
    const Watch& watch_;
    Counter counter_;
};

void checkField(const Fiber::FieldSelector& selector) {
    const auto field = selector.field();
    if (!field) throw UsageError("No field is selected to be counted; connect the object to one.");
    const std::type_info& type = field->getElementType();
    if (type == typeid(std::uint8_t) || type == typeid(std::uint16_t)) return;
    throw Failure(
        fmt::format("\"{}\" cannot be counted by value: only fields of unsigned integers of 8 or 16 bits can.",
                    selector.getFieldName()));
}

} // namespace

Count countPoints(const Survey& survey, const CountTask& task, const Watch& watch) {
    checkField(task.field);
    watch(0, 1, "Counting " + task.field.getFieldName()); // the module reports now and then only
    Count counted = std::visit(Counting(survey, task, watch), task.region);
    if (task.field.field()->size() == 0) counted.histogram.complete = true; // nothing is missing
    return counted;
}

std::string noteOnSecondary(const Kesh::VHistogram& histogram) {
    if (histogram.withoutSecondary == 0 || histogram.secondaryName.empty()) return "";
    return fmt::format("{} of the {} fragments that were counted have no \"{}\": its minimum, maximum and mean leave "
                       "their points out.",
                       histogram.withoutSecondary, histogram.fragments, histogram.secondaryName);
}

ClassCounts classCounts(const Kesh::VHistogram& histogram) {
    ClassCounts counts;
    for (std::size_t i = 0; i < histogram.size(); ++i)
        counts[static_cast<int>(histogram.value(i))] = histogram.counts[i];
    return counts;
}

std::uint64_t changedPoints(const ClassCounts& before, const ClassCounts& after) {
    std::uint64_t lost = 0;
    for (const auto& [value, count] : before) {
        const auto now = after.find(value);
        const std::uint64_t left = now == after.end() ? 0 : now->second;
        if (left < count) lost += count - left;
    }
    return lost;
}

} // namespace corvane
