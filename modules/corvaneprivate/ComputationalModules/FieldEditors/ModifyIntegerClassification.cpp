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

/// Runs all tests on each vertex, in order, each on what the one before left: the count is that of replacements.
template <class T>
bool replace(Fiber::CreativeArrayBase& target, std::span<const std::uint32_t> indices, const Replacement& replacement,
             Kesh::EditField::Changes& changes) {
    const auto array = target.writableData<T>();
    if (!array) return false;
    const std::span<T> values = array->writableValues();
    const T stored = static_cast<T>(replacement.to);
    for (const std::uint32_t i : indices) {
        T value = values[i];
        std::uint64_t writes = 0;
        for (const int source : replacement.from) {
            if (value != source) continue;
            value = stored;
            ++writes;
        }
        values[i] = value;
        changes.writes += writes;
        changes.vertices += writes > 0;
    }
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
