// SPDX-License-Identifier: Apache-2.0
#include "network/ClassCounts.hpp"

#include "base/Failure.hpp"
#include "Kesh/catalogue/VCreator.hpp"
#include "Kesh/objects/VObject.hpp"
#include "network/Progress.hpp"

#include <fmt/format.h>

namespace corvane {
namespace {

using Holdfast::StrongPtr;

constexpr char ModuleType[] = "Compute/PointCloudHistogram";

/// An object of the module, for one count.
class Counter {
public:
    explicit Counter(const Fiber::FieldSelector& field) : field_(field.getFieldName()) {
        const auto creator = Kesh::VCreatorBase::find(ModuleType);
        if (!creator) throw Failure(fmt::format("The plug-in has no module \"{}\" to count with.", ModuleType));
        object_ = creator->create("count", nullptr);
        set("inputfield", field);
        Kesh::Enum scope{"WholeDataset"};
        set("scope", scope);
    }
    ~Counter() { Kesh::VCreatorBase::deleteInstance(object_); }
    Counter(const Counter&) = delete;
    Counter& operator=(const Counter&) = delete;

    /// Goes on where the time limit of the module ended the count before, as long as it advances.
    Kesh::VHistogram count() {
        Kesh::VHistogram counted;
        for (std::uint64_t before = 0; !counted.complete; before = counted.total()) {
            set("compute", Holdfast::create<Kesh::VAction>());
            const auto object = object_.lock();
            if (!object->update(Kesh::VRequest(pool_))) throw Failure(object->status(*pool_).text);
            const auto value = object->findOutput("histogram")->getValueBase(*pool_);
            counted = Holdfast::cast<Kesh::VValue<Kesh::VHistogram>>(value)->value;
            if (interrupted()) throw Failure(fmt::format("Counting \"{}\" was interrupted.", field_));
            if (!counted.complete && counted.total() <= before)
                throw Failure(fmt::format("\"{}\" cannot be counted: some of its fragments cannot be had.", field_));
        }
        return counted;
    }

private:
    template <class T>
    void set(const char* slot, T value) {
        object_.lock()->findSlot(slot)->parameter()->setValue(
            *pool_, Holdfast::create<Kesh::VValue<T>>(std::move(value)), Holdfast::Ageable::nextTime());
    }

    std::string field_; // its name
    StrongPtr<Kesh::ValuePool> pool_ = Holdfast::create<Kesh::ValuePool>();
    Holdfast::WeakPtr<Kesh::VObject> object_; // its creator's
};

} // namespace

ClassCounts classCounts(const Kesh::VHistogram& histogram) {
    ClassCounts counts;
    for (std::size_t i = 0; i < histogram.size(); ++i)
        counts[static_cast<int>(histogram.value(i))] = histogram.counts[i];
    return counts;
}

Kesh::VHistogram countWhole(const Fiber::FieldSelector& selector) {
    const auto field = selector.field();
    if (!field) throw UsageError("No field is selected to be counted; connect the object to one.");
    const std::type_info& type = field->getElementType();
    if (type != typeid(std::uint8_t) && type != typeid(std::uint16_t))
        throw Failure(fmt::format("\"{}\" cannot be counted by value: only fields of unsigned integers of 8 or 16 bits "
                                  "can.",
                                  selector.getFieldName()));
    return field->size() == 0 ? Kesh::VHistogram() : Counter(selector).count();
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
