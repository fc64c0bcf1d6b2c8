// SPDX-License-Identifier: Apache-2.0
// ModifyIntegerClassificationWithMasking: brush strokes mark vertices of up to four values in a mask, then
// `applySelection` writes one new value into every marked vertex.
#include "Kesh/catalogue/ModuleRegistration.hpp"
#include "MaskedEditing.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace {

using Holdfast::StrongPtr;

constexpr char Field[] = "labelfield";
constexpr std::array From{"from0", "from1", "from2", "from3"};

const Kesh::ParameterTable Values{
    {.name = "newvalue", .initial = 0, .help = "The value that masked vertices get."},
    {.name = From[0], .initial = 0, .help = "Vertices of this value may be masked."},
    {.name = From[1], .initial = 0, .help = "Vertices of this value may be masked, too."},
    {.name = From[2], .initial = 0, .help = "Vertices of this value may be masked, too."},
    {.name = From[3], .initial = 0, .help = "Vertices of this value may be masked, too."},
    {.name = "switch",
     .initial = Kesh::Enum{"none", "0", "1", "2", "3"},
     .help = "Exchanges the new value with the value of this number, which reverses an edit.",
     .flags = Kesh::ParameterIntroduction::InEditingTools,
     .properties = {{"wrap", 6}}},
};

/// Those that it shares with the other masked editor have no help here, and both controls of the mask's history are in
/// the group.
Kesh::ParameterTable ownParameters() {
    Kesh::ParameterTable mask = Kesh::MaskControls::parameters();
    mask.back().group = Kesh::MaskingGroup;
    const auto silent = [](Kesh::ParameterTable table) {
        for (auto& parameter : table)
            if (!parameter.name.starts_with("undo") && !parameter.name.starts_with("redo")) parameter.help.clear();
        return table;
    };
    return Kesh::joined(silent(Kesh::MaskTriggers::parameters()), Values, silent(mask));
}

const Kesh::ParameterTable Own = ownParameters();

const Kesh::ModuleIntroduction Introduction{
    .domain = "Development",
    .descriptions =
        {"Edit a field of integers on a point cloud or vertices of a general Grid via selecting and apply a "
         "mask. It is recommended to use labels instead of pure integers for classifying points "
         "(\"Edit/MaskedLabels\"). This module is primarily for didadict development purposes."},
    .buildDate = "Sep 11 2026",
    .name = "", // that of the file
    .sourceFile = __FILE__,
    .category = "Edit",
    .integer = 0,
    .parameters = Kesh::joined(Kesh::EditField::parameters(Field), Own),
};

/// Filters and new value as they count for one selection or apply.
struct Effective {
    std::array<int, From.size()> filters;
    int newValue;
};

class ModifyField : public Kesh::EditField {
public:
    ModifyField(const std::string& name, const StrongPtr<Kesh::VCreationPreferences>& preferences)
        : EditField(name, 0, preferences, Field, Own) {
        addHistory(mask_.history, [this](const Kesh::VRequest& request) { return mask_.maskFieldName(request); });
    }

private:
    std::string FieldOperation(Kesh::VRequest& request, const FieldPtr& field,
                               Fiber::Representation& representation) override {
        edit({request, mask_.history, representation, field, selectedField(request).getFieldName(),
              mask_.maskFieldName(request)});
        return ""; // the data are as they were
    }

    bool wantsFieldOperation(const Kesh::VRequest& request, Fiber::Representation& representation,
                             const std::string& fieldName, const FieldPtr& field) override {
        const Kesh::EditTarget data{request, dataHistory(), representation, field, fieldName};
        return dispatchMaskTriggers(*this, triggers_, mask_, data, [&](const FieldPtr& mask) {
            const int value = effective(*request.pool).newValue;
            return applyRecorded(data, *field, Kesh::writeWhereMasked(mask, value, request.time)).report();
        });
    }

    /// Counts every filter that matches, not every vertex.
    ArrayPtr modifyFragment(const Kesh::VRequest& request, Fiber::Field& field, const FragmentPtr& fragment,
                            std::span<const std::uint32_t> indices, Changes& changes, const ArrayPtr& target) override {
        const bool unselecting = unselects(*this, triggers_, request);
        if (!unselecting && !selects(*this, triggers_, request)) return nullptr;
        const std::uint8_t entry = unselecting ? Fiber::Unmasked : Fiber::Masked;
        const Effective now = effective(*request.pool);
        const auto mask = target->writableData<std::uint8_t>()->writableValues();
        Fiber::visitArray<unsigned short, short, unsigned char, signed char>(
            *field.getCreator(fragment)->residentData(), [&](const auto& data) {
                for (const std::uint32_t i : indices) {
                    const auto matches = std::ranges::count(now.filters, int(data.values()[i]));
                    if (matches == 0) continue;
                    mask[i] = entry;
                    changes.writes += static_cast<std::uint64_t>(matches);
                    ++changes.vertices;
                }
            });
        target->touch(request.time);
        return target;
    }

    Effective effective(const Kesh::ValuePool& pool) const {
        Effective now{.filters = {from_[0].get(pool), from_[1].get(pool), from_[2].get(pool), from_[3].get(pool)},
                      .newValue = newValue_.get(pool)};
        const int exchanged = switch_.get(pool).Case("0", "1", "2", "3");
        if (exchanged >= 0) std::swap(now.newValue, now.filters[static_cast<std::size_t>(exchanged)]);
        return now;
    }

    using Filter = Kesh::TypedSlot<int>;
    Kesh::MaskTriggers triggers_{*this};
    Kesh::TypedSlot<int> newValue_{*this, "newvalue"};
    std::array<Filter, From.size()> from_{Filter(*this, From[0]), Filter(*this, From[1]), Filter(*this, From[2]),
                                          Filter(*this, From[3])};
    Kesh::TypedSlot<Kesh::Enum> switch_{*this, "switch"};
    Kesh::MaskControls mask_{*this};
};

const Kesh::FieldModuleRegistration<ModifyField, Fiber::GridSelector, Fiber::FieldSelector, Kesh::VTime,
                                    StrongPtr<Kesh::VAction>, int, Kesh::Enum, std::string>
    registration(Introduction);

} // namespace
