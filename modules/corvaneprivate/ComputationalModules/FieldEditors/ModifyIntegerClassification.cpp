// SPDX-License-Identifier: Apache-2.0
// ModifyClassification: rewrites class codes directly. Every vertex under the brush whose value is one of up to four
// source values gets the target value when `assign` is pressed, or when a new stroke is drawn.
#include "Kesh/catalogue/ModuleRegistration.hpp"
#include "Kesh/editing/EditField.hpp"

#include <array>
#include <utility>

namespace {

using Holdfast::StrongPtr;

constexpr char Field[] = "labelfield";
constexpr std::array From{"from0", "from1", "from2", "from3"};

const Kesh::ValueMap Bounds{{"min", 0}, {"max", 255}};
const Kesh::ParameterTable Own{
    {.name = "assign",
     .initial = Kesh::Action(),
     .help = "Edits the vertices once.",
     .properties = {{"shortcut", "a"}}},
    {.name = "newvalue", .initial = 0, .help = "The value that vertices get.", .properties = Bounds},
    {.name = From[0], .initial = 0, .help = "Vertices of this value are edited.", .properties = Bounds},
    {.name = From[1], .initial = 0, .help = "Vertices of this value are edited, too.", .properties = Bounds},
    {.name = From[2], .initial = 0, .help = "Vertices of this value are edited, too.", .properties = Bounds},
    {.name = From[3], .initial = 0, .help = "Vertices of this value are edited, too.", .properties = Bounds},
    {.name = "switch",
     .initial = Kesh::Enum{"none", "0", "1", "2", "3"},
     .help = "Exchanges the new value with the source of this number for the edit, which reverses it.",
     .properties = {{"wrap", 6}}},
};

const Kesh::ModuleIntroduction Introduction{
    .domain = "Development",
    .descriptions =
        {"Edit a field of integers on the vertices of a Grid directly; use \"Edit/MaskedClassification\" for "
         "utilizing the intermediate step of creating a mask first and applying it later as second "
         "step.This module is primarily for didadict development purposes."},
    .buildDate = "Sep 11 2026",
    .name = "ModifyClassification",
    .sourceFile = __FILE__,
    .category = "Edit",
    .integer = -1000,
    .parameters = Kesh::joined(Kesh::EditField::parameters(Field), Own),
};

/// Sources and target as they count for one edit.
struct Replacement {
    std::array<int, From.size()> from;
    int to;
};

/// What becomes of a value, and by how many replacements.
template <class T>
struct Outcome {
    T value;
    std::uint8_t writes = 0;
};

/// All tests in order, each on what the one before left.
template <class T>
Outcome<T> outcomeOf(T value, const Replacement& replacement) {
    Outcome<T> outcome{value};
    for (const int source : replacement.from) {
        if (outcome.value != source) continue;
        outcome.value = static_cast<T>(replacement.to);
        ++outcome.writes;
    }
    return outcome;
}

/// The same for all values of 8 bits: looked up, since tests of classes are not predictable.
template <class T>
class OutcomeTable {
public:
    explicit OutcomeTable(const Replacement& replacement) {
        for (std::size_t i = 0; i < outcomes_.size(); ++i) outcomes_[i] = {static_cast<T>(i)};
        for (const int source : replacement.from) // no other value changes
            if (const T value = static_cast<T>(source); value == source)
                outcomes_[std::uint8_t(value)] = outcomeOf(value, replacement);
    }
    Outcome<T> operator()(T value) const { return outcomes_[std::uint8_t(value)]; }

private:
    std::array<Outcome<T>, 256> outcomes_;
};

template <class T, class OutcomeOf>
void replaceValues(std::span<T> values, std::span<const std::uint32_t> indices, OutcomeOf outcomeOf,
                   Kesh::EditField::Changes& changes) {
    std::uint64_t writes = 0, vertices = 0;
    for (const std::uint32_t i : indices) {
        const Outcome<T> outcome = outcomeOf(values[i]);
        values[i] = outcome.value;
        writes += outcome.writes;
        vertices += outcome.writes > 0;
    }
    changes.writes += writes;
    changes.vertices += vertices;
}

/// Counts replacements, and the vertices that had any. False when the values are not of this type.
template <class T>
bool replace(Fiber::CreativeArrayBase& target, std::span<const std::uint32_t> indices, const Replacement& replacement,
             Kesh::EditField::Changes& changes) {
    const auto array = target.writableData<T>();
    if (!array) return false;
    if constexpr (sizeof(T) == 1)
        replaceValues(array->writableValues(), indices, OutcomeTable<T>(replacement), changes);
    else
        replaceValues(
            array->writableValues(), indices, [&](T value) { return outcomeOf(value, replacement); }, changes);
    return true;
}

class ModifyField : public Kesh::EditField {
public:
    ModifyField(const std::string& name, const StrongPtr<Kesh::VCreationPreferences>& preferences)
        : EditField(name, 0, preferences, Field, Own) {}

private:
    bool wantsFieldOperation(const Kesh::VRequest& request, Fiber::Representation&, const std::string&,
                             const FieldPtr&) override {
        const Kesh::ValuePool& pool = *request.pool;
        return hasChanged(*assign_, pool) || brushSlot().ValueAge(pool) > age(pool);
    }

    ArrayPtr modifyFragment(const Kesh::VRequest& request, Fiber::Field& field, const FragmentPtr& fragment,
                            std::span<const std::uint32_t> indices, Changes& changes, const ArrayPtr& target) override {
        const auto creator = field.getCreator(fragment);
        if (!creator || !creator->hasData()) return nullptr;
        creator->markAsUsed();
        const Replacement now = replacement(*request.pool);
        const bool replaced = replace<unsigned short>(*target, indices, now, changes) ||
                              replace<short>(*target, indices, now, changes) ||
                              replace<unsigned char>(*target, indices, now, changes) ||
                              replace<signed char>(*target, indices, now, changes);
        if (!replaced) return nullptr;
        target->touch(request.time);
        return target;
    }

    Replacement replacement(const Kesh::ValuePool& pool) const {
        Replacement now{.from = {from_[0].get(pool), from_[1].get(pool), from_[2].get(pool), from_[3].get(pool)},
                        .to = newValue_.get(pool)};
        const int exchanged = switch_.get(pool).Case("0", "1", "2", "3");
        if (exchanged >= 0) std::swap(now.to, now.from[static_cast<std::size_t>(exchanged)]);
        return now;
    }

    using Source = Kesh::TypedSlot<int>;
    Kesh::TypedSlot<Kesh::Action> assign_{*this, "assign"};
    Kesh::TypedSlot<int> newValue_{*this, "newvalue"};
    std::array<Source, From.size()> from_{Source(*this, From[0]), Source(*this, From[1]), Source(*this, From[2]),
                                          Source(*this, From[3])};
    Kesh::TypedSlot<Kesh::Enum> switch_{*this, "switch"};
};

const Kesh::FieldModuleRegistration<ModifyField, Fiber::GridSelector, Fiber::FieldSelector, Kesh::VTime,
                                    StrongPtr<Kesh::VAction>, int, Kesh::Enum>
    registration(Introduction);

} // namespace
