// SPDX-License-Identifier: Apache-2.0
// MaskedLabels: brush strokes mark vertices of the classes that are flagged "editable", then `applySelection` writes
// the label chosen under "Assign" into every marked vertex. Listed a second time under the name of this file.
#include "Kesh/catalogue/ModuleRegistration.hpp"
#include "Kesh/objects/VActionNotifier.hpp"
#include "Kesh/values/LabelSet.hpp"
#include "MaskedEditing.hpp"

#include <atomic>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using Holdfast::StrongPtr;
using Holdfast::WeakPtr;
using Kesh::LabelSet;

constexpr char Labels[] = "labels";

const Kesh::ParameterTable Own{
    {.name = Labels,
     .initial = LabelSet(),
     .help = "The set of labels of the edited field. 'Assign' selects the value written into masked vertices when an "
             "edit is applied. 'editable' marks which classes are writable: a vertex whose CURRENT class is not "
             "flagged editable is excluded from the mask at selection time and never reaches the mask at all, even if "
             "it falls within the drawn lasso/brush area. (Only editable classes can be chosen as the 'Assign' target "
             "too.)"},
};
const Kesh::ParameterTable Parameters = Kesh::joined(Kesh::MaskedEditing::parameters(), Own);

constexpr char ShortDescription[] = "Edit a field of labels on a point cloud (or vertices of a more general Grid) by "
                                    "creating, modifying and applying a "
                                    "mask (a set of selected points).";

const Kesh::ModuleIntroduction Introduction{
    .domain = "",
    .descriptions = {"Lets the user brush-select vertices into a mask and assign a chosen label value to the masked "
                     "vertices of a label field, with full undo/redo support for both the mask and the edited data.",
                     ShortDescription},
    .buildDate = "Sep 11 2026",
    .name = "MaskedLabels",
    .sourceFile = __FILE__,
    .category = "Edit",
    .integer = 2000,
    .parameters = Parameters,
};

const Kesh::ModuleIntroduction SecondIntroduction{
    .domain = "",
    .descriptions = {ShortDescription},
    .buildDate = "Sep 11 2026",
    .name = "", // that of the file
    .sourceFile = __FILE__,
    .category = "Edit",
    .integer = 2000,
    .parameters = Parameters,
};

const std::string Editable = "editable"; // flag
const std::string Assign = "Assign";     // selection

/// Gives every label the flag, off where it has none, and the set the selection. True when something was missing.
bool prepare(LabelSet& labels) {
    bool changed = false;
    for (auto& [value, label] : labels) changed = label.flags.emplace(Editable, false).second || changed;
    return labels.addSelection(Assign) || changed;
}

/// The values whose labels are flagged editable, ascending.
std::vector<int> editableValues(const LabelSet& labels) {
    std::vector<int> values;
    for (const auto& [value, label] : labels) {
        const auto flag = label.flags.find(Editable);
        if (flag != label.flags.end() && flag->second) values.push_back(value);
    }
    return values;
}

/// Which numbers of a type are among some values: one look instead of a search for each vertex.
template <class T>
class MemberTable {
public:
    explicit MemberTable(const std::vector<int>& members) : table_(std::size_t{1} << 8 * sizeof(T)) {
        for (const int value : members)
            if (std::in_range<T>(value)) table_[static_cast<Place>(value)] = 1;
    }
    bool operator()(T value) const { return table_[static_cast<Place>(value)] != 0; }

private:
    using Place = std::make_unsigned_t<T>;

    std::vector<std::uint8_t> table_;
};

class MyFieldEditor : public Kesh::MaskedEditing {
public:
    MyFieldEditor(const std::string& name, const StrongPtr<Kesh::VCreationPreferences>& preferences)
        : MaskedEditing(name, preferences, Own) {
        labels_->parameter()->setInputNotifier(Holdfast::create<LabelsNotifier>(*this));
        Kesh::VActionNotifier::activate(StrongPtr<Kesh::VActionNotifier>(actions_));
    }

    /// Prepares a new value of `labels` in place. True when that changed it.
    bool labelNotification(LabelSet& labels, const WeakPtr<Kesh::ValuePool>& pool) {
        pool_ = pool;
        if (const auto present = pool.lock()) actions_->pool = present->identifier();
        return prepare(labels);
    }

private:
    using LabelsNotifier = Kesh::MutableInputNotifier<LabelSet, MyFieldEditor, &MyFieldEditor::labelNotification>;

    /// Prepares the current set when an action is triggered in its pool, whichever that is: the set may be as old as
    /// the object. Of actions in another pool it hears perhaps while the editor works on another thread.
    class MyActionNotifier : public Kesh::VActionNotifier {
    public:
        explicit MyActionNotifier(MyFieldEditor& editor) : editor_(editor) {}
        std::atomic<std::uint64_t> pool = 0; // in which the labels were set last

    private:
        void triggered(const std::string&, const Kesh::ValuePool& where) override {
            if (where.identifier() == pool) editor_.prepareCurrent();
        }
        MyFieldEditor& editor_; // which owns this
    };

    void prepareCurrent() {
        const auto pool = pool_.lock();
        const auto current = pool ? labels_->parameter()->getLocalValue<LabelSet>(*pool) : nullptr;
        if (current) prepare(current->value);
    }

    /// A vertex of a class that is not editable keeps its mask entry, also when unselecting.
    ArrayPtr modifyFragment(const Kesh::VRequest& request, Fiber::Field& field, const FragmentPtr& fragment,
                            std::span<const std::uint32_t> indices, Changes& changes, const ArrayPtr& target) override {
        const std::uint8_t entry = unselecting(request) ? Fiber::Unmasked : Fiber::Masked;
        const std::vector<int> editable = editableValues(labels_.get(*request.pool));
        const auto mask = target->writableData<std::uint8_t>()->writableValues();
        std::uint64_t marked = 0;
        Fiber::visitArray<unsigned short, short, unsigned char, signed char>(
            *field.getCreator(fragment)->residentData(), [&]<class T>(const Fiber::MemArray<T>& data) {
                const std::span<const T> values = data.values();
                const MemberTable<T> isEditable(editable);
                for (const std::uint32_t i : indices) {
                    const bool is = isEditable(values[i]);
                    mask[i] = is ? entry : mask[i]; // without a branch: classes come as they like
                    marked += is;
                }
            });
        changes.writes += marked;
        changes.vertices += marked;
        target->touch(request.time);
        return target;
    }

    std::string applyEdit(const Kesh::VRequest& request, Fiber::Representation& representation,
                          const std::string& fieldName, const FieldPtr& field, const FieldPtr& mask) override {
        const int value = labels_.get(*request.pool).getSelectedValue(Assign);
        if (value < 0) return "No label has been selected for modifying data.";
        const Outcome outcome = applyRecorded({request, dataHistory(), representation, field, fieldName}, *field,
                                              Kesh::writeWhereMasked(mask, value, request.time));
        if (outcome.changes.writes > 0) field->setAge(Holdfast::Ageable::nextTime());
        return outcome.report();
    }

    Kesh::TypedSlot<LabelSet> labels_{*this, Labels};
    WeakPtr<Kesh::ValuePool> pool_; // in which the labels were set last
    StrongPtr<MyActionNotifier> actions_ = Holdfast::create<MyActionNotifier>(*this);
};

using Registration = Kesh::FieldModuleRegistration<MyFieldEditor, Kesh::VTime, LabelSet, Fiber::GridSelector,
                                                   Fiber::FieldSelector, StrongPtr<Kesh::VAction>, std::string>;
const Registration registration(Introduction);
const Registration secondRegistration(SecondIntroduction);

} // namespace
