// SPDX-License-Identifier: Apache-2.0
// Labels: makes a label set from the values that occur in a field, one label per value, and stores it with the field.
// What the user then changes in the published set is stored, too; when the field changes, labels are made anew.
#include "Kesh/catalogue/ModuleRegistration.hpp"
#include "Kesh/objects/FieldOperatorObject.hpp"
#include "Kesh/objects/VActionNotifier.hpp"
#include "Kesh/objects/VStateCreatorBase.hpp"
#include "Kesh/values/LabelAttributes.hpp"

#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <random>
#include <set>

namespace {

using Holdfast::StrongPtr;

constexpr char Field[] = "inputfield", Labels[] = "labelset";

const Kesh::ParameterTable Own{
    {.name = Labels,
     .initial = Kesh::LabelSet(),
     .help = "The labels of the field; changes of names, colours and flags are stored with the field.",
     .isOutput = true},
};

const Kesh::ModuleIntroduction Introduction{
    .domain = "LIDAR",
    .descriptions = {"Examine a field of integer values to compute a set of labels from it as suitable for editing. "
                     "This module can be used to start from an classification field with a priori unknown values to "
                     "compute a set of labels from all known values found in this data set."},
    .buildDate = "Sep  8 2026",
    .name = "Labels",
    .sourceFile = __FILE__,
    .category = "Compute",
    .integer = -1000,
    .parameters = Kesh::joined(Kesh::FieldOperatorObject::parameters(Field), Own),
};

/// The distinct values that fragments hold.
class Values {
public:
    /// Arrays of other types, and missing ones, add nothing.
    void add(const StrongPtr<const Fiber::MemBase>& data) {
        if (const auto bytes = Fiber::arrayOf<std::uint8_t>(data)) mark(bytes->values());
        if (const auto words = Fiber::arrayOf<std::uint16_t>(data)) mark(words->values());
        if (const auto integers = Fiber::arrayOf<std::int32_t>(data))
            others_.insert(integers->values().begin(), integers->values().end());
    }

    std::set<std::int32_t> ascending() const {
        std::set<std::int32_t> all = others_;
        for (std::size_t value = 0; value < occurs_.size(); ++value)
            if (occurs_[value]) all.insert(static_cast<std::int32_t>(value));
        return all;
    }

private:
    template <class T>
    void mark(std::span<const T> values) {
        for (const T value : values) occurs_[value] = true;
    }

    std::array<bool, std::numeric_limits<std::uint16_t>::max() + std::size_t{1}> occurs_{}; // of 8 and 16 bits
    std::set<std::int32_t> others_;
};

/// Colours differ from one computation to the next, which is meant so.
class RandomColours {
public:
    Sextant::rgba_float_t next() {
        const float red = fraction(), green = fraction(), blue = fraction();
        return {red, green, blue, 1};
    }

private:
    /// From 0 to below 1: draws near the largest round to 1 as floats and are drawn again.
    float fraction() {
        float drawn;
        do drawn = static_cast<float>(generator_()) * 0x1p-32f;
        while (drawn >= 1);
        return drawn;
    }

    std::random_device source_{"default"};
    std::mt19937 generator_{source_()};
};

Kesh::LabelSet labelsFor(const std::set<std::int32_t>& values) {
    Kesh::LabelSet labels;
    RandomColours colours;
    for (const std::int32_t value : values) {
        const std::string name = "ID#" + std::to_string(labels.size());
        Kesh::Label& label = labels[value];
        label.name = name;
        label.colour = colours.next();
    }
    return labels;
}

class FieldLabels : public Kesh::FieldOperatorObject {
public:
    using Provided = Kesh::LabelSet;

    FieldLabels(const std::string& name, const StrongPtr<Kesh::VCreationPreferences>& preferences)
        : FieldOperatorObject(name, Field, 0, preferences, Own) {}

    /// Also when the labels could not be completed.
    bool must_update(const Kesh::VRequest& request, double precision) override {
        return FieldOperatorObject::must_update(request, precision) || states_.myState(*request.pool)->unfinished;
    }

private:
    struct State {
        std::optional<Fiber::FieldSelector> labelled; // the field whose labels are published; none: nothing is, yet
        bool unfinished = false;                      // an interruption or a budget cut short what is to be published
    };

    void operate(Kesh::VRequest& request, Fiber::Representation&, const std::string& fieldName,
                 const StrongPtr<Fiber::Field>& field) override {
        const Kesh::ValuePool& pool = *request.pool;
        const Fiber::FieldSelector selected = selectedField(request);
        const State before = *states_.myState(pool);
        const bool edited = hasChanged(*labels_, pool); // by the user
        if (before.labelled && !(*before.labelled == selected)) {
            const auto other = before.labelled->field();
            if (edited && other) Kesh::storeLabelSet(labels_.get(pool), *other, request.time);
            if (const auto stored = Kesh::readLabelSet(field->attributes())) {
                publish(request, *stored);
                *states_.myState(pool) = {selected, false};
                return;
            }
        } else if (Kesh::carriesLabelSet(field->attributes()) && labels_->age(pool) >= field->age() &&
                   (edited || !before.unfinished)) {
            if (edited) Kesh::storeLabelSet(labels_.get(pool), *field, request.time);
            *states_.myState(pool) = {selected, false};
            return;
        }
        states_.myState(pool)->unfinished = true;
        bool complete = true;
        const Kesh::LabelSet fresh = labelsFor(valuesOf(request, *field, fieldName, complete));
        Kesh::storeLabelSet(fresh, *field, request.time);
        publish(request, fresh);
        *states_.myState(pool) = {selected, !complete};
    }

    void publish(const Kesh::VRequest& request, const Kesh::LabelSet& labels) {
        labels_->parameter()->setValue(*request.pool, Holdfast::create<Kesh::VValue<Kesh::LabelSet>>(labels),
                                       request.time);
    }

    /// With an immediate budget, those of the fragments that are resident; not complete when others are not.
    static std::set<std::int32_t> valuesOf(const Kesh::VRequest& request, const Fiber::Field& field,
                                           const std::string& fieldName, bool& complete) {
        const auto values = std::make_unique<Values>(); // too large for the stack
        const auto fragments = field.fragments().size();
        field.iterate([&](const auto& fragment, const auto& array) {
            if (!Kesh::VActionNotifier::reportProgress(fragment->number(), fragments, "Examining " + fieldName))
                throw std::runtime_error("Interrupted; the labels are as they were before.");
            const auto data = array ? array->getData(request.budget) : nullptr;
            if (data) values->add(data);
            if (array && !data && request.budget.isImmediate()) complete = false;
            return true;
        });
        return values->ascending();
    }

    Kesh::VStateCreatorBase<State> states_;
    Kesh::TypedSlot<Kesh::LabelSet> labels_{*this, Labels};
};

const Kesh::FieldModuleRegistration<FieldLabels, Fiber::GridSelector, Fiber::FieldSelector, Kesh::VTime, Kesh::LabelSet>
    registration(Introduction);

} // namespace
