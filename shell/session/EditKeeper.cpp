// SPDX-License-Identifier: Apache-2.0
#include "session/EditKeeper.hpp"

#include "Fiber/FieldHistogramBase.hpp"
#include "Fiber/FragmentBox.hpp"
#include "Fiber/History.hpp"
#include "Fiber/MaskField.hpp"
#include "Kesh/values/LabelAttributes.hpp"
#include "base/Failure.hpp"
#include "session/UpdateActions.hpp"

#include <algorithm>
#include <ctime>
#include <fmt/format.h>
#include <iterator>
#include <set>
#include <stdexcept>
#include <utility>

namespace corvane {
namespace {

using Holdfast::StrongPtr;

const std::string LabelsName = "labels";
constexpr std::uint32_t CountedValues = 256; // counts of wider values would take more room than the values

/// Whether the counts of a field are kept.
bool isCounted(const KeptField& kept, const Fiber::Field& field) {
    return kept.origin == Origin::Survey && field.getElementType() == typeid(std::uint8_t);
}

bool isEmpty(const Commit& commit) {
    return commit.ended.empty() && commit.begun.empty() && commit.undone.empty() && commit.redone.empty() &&
           commit.gone.empty() && commit.amended.empty() && commit.steps.empty() && commit.attributes.empty() &&
           commit.counts.empty() && !commit.identity;
}

bool isEditable(const Fiber::Field& field) {
    return field.getElementType() == typeid(std::uint8_t) || field.getElementType() == typeid(std::uint16_t);
}

int widthOf(const Fiber::Field& field) { return field.getElementType() == typeid(std::uint16_t) ? 2 : 1; }

/// What leads from one array's values to another's.
FragmentChange changeBetween(Fiber::CreativeArrayBase& before, Fiber::CreativeArrayBase& after) {
    const auto from = before.getData(), to = after.getData();
    std::optional<FragmentChange> change;
    const auto compare = [&]<class T>(const Fiber::MemArray<T>& array) {
        change = FragmentChange::between(sizeof(T), std::as_bytes(array.values()),
                                         std::as_bytes(dynamic_cast<const Fiber::MemArray<T>&>(*to).values()));
    };
    Fiber::visitArray<std::uint8_t, std::uint16_t>(*from, compare);
    return *change;
}

std::vector<std::byte> bytesOf(const std::string& text) {
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
}

template <class T>
void append(std::vector<T>& all, const std::vector<T>& some) {
    all.insert(all.end(), some.begin(), some.end());
}

} // namespace

EditKeeper::EditKeeper(std::shared_ptr<const Survey> survey, std::shared_ptr<EditStore> store,
                       const std::optional<SurveyIdentity>& rebound, bool histories)
    : survey_(std::move(survey)),
      store_(std::move(store)),
      hasBox_(survey_->ranges().size()),
      rebound_(rebound),
      histories_(histories || store_->mayWrite()) {
    for (const std::string& name : editableFields()) begin(name, *survey_->points().findField(name));
    for (const StoredField& stored : store_->fields()) restore(stored);
    if (!rebound_) restoreBoxes();
    if (rebound_) compareValues();
}

EditKeeper::~EditKeeper() {
    try {
        if (open_) close();
    } catch (const Failure&) { // what is committed is there all the same
    }
}

void EditKeeper::close() {
    open_ = false;
    if (!store_->mayWrite()) return;
    const bool empty = store_->fields().empty();
    store_->close();
    if (empty) EditStore::remove(store_->path());
}

StoredFragment EditKeeper::fragmentOf(const std::string& name, const KeptField& kept, std::uint32_t number) const {
    return {store_, name, number, kept.originals.at(number), kept.origin == Origin::Zeros, halfSaved_};
}

/// A field that is new to us: of the survey, or a mask, which begins empty.
KeptField& EditKeeper::begin(const std::string& name, Fiber::Field& field) {
    KeptField& kept = fields_[name];
    kept.originals = arraysOf(field);
    if (Fiber::isMask(field)) {
        kept.origin = Origin::Zeros;
        kept.originals = arraysOf(*Fiber::makeMask(*survey_->points().findField(Fiber::PositionsName)));
    }
    kept.present = kept.originals;
    kept.labelAge = field.attributeAge();
    return kept;
}

void EditKeeper::restore(const StoredField& stored) {
    Fiber::Representation& points = survey_->points();
    if (stored.origin == Origin::Zeros && !fields_.contains(stored.name)) {
        const auto mask = Fiber::makeMask(*points.findField(Fiber::PositionsName));
        points.makeField(points.makeFieldID(stored.name), mask);
        begin(stored.name, *mask).present = arraysOf(*mask);
    }
    const auto known = fields_.find(stored.name);
    const auto field = known == fields_.end() ? nullptr : points.findField(stored.name);
    if (!field || widthOf(*field) != stored.width)
        throw Failure(fmt::format("{}: has edits of a field \"{}\" of {} bytes a value, which the survey {} does not "
                                  "have.",
                                  store_->path(), stored.name, stored.width, survey_->path()));
    known->second.stored = true;
    const Versions present = store_->versions(stored.name);
    for (const auto& [number, step] : present)
        if (!known->second.originals.contains(number))
            throw Failure(fmt::format("{}: has edits of fragment {}, which the survey {} does not have.",
                                      store_->path(), number, survey_->path()));
    histories_ ? restoreSteps(stored, present, known->second, *field)
               : restorePresent(stored, present, known->second, *field);
    restoreLabels(stored.name, *field);
    known->second.labelAge = field->attributeAge();
    if (!rebound_) restoreCounts(stored.name, known->second, *field);
}

void EditKeeper::restorePresent(const StoredField& stored, const Versions& present, KeptField& kept,
                                Fiber::Field& field) {
    for (const auto& [number, step] : present) {
        kept.present[number] = arrayOf(fragmentOf(stored.name, kept, number), step);
        field.setPersistentData(kept.present[number], field.fragments().at(number).id);
    }
}

/// Versions that are the same share an array: a version of a fragment is known by the last step that changed it.
void EditKeeper::restoreSteps(const StoredField& stored, const Versions& present, KeptField& kept,
                              Fiber::Field& field) {
    std::map<std::pair<std::uint32_t, StepId>, ArrayPtr> versions;
    const auto version = [&](std::uint32_t number, StepId step) {
        ArrayPtr& array = versions[{number, step}];
        if (!array) array = arrayOf(fragmentOf(stored.name, kept, number), step);
        return array;
    };
    Versions last; // behind the step at hand
    Fiber::History history(survey_->points(), stored.name);
    for (const StoredStep& step : store_->steps(stored.name)) {
        const auto other = Holdfast::create<Fiber::Field>(field.getElementType());
        KeptStep keptStep{step.id, other, step.done, {}};
        for (const std::uint32_t number : store_->fragmentsOf(step.id)) {
            const StepId before = std::exchange(last[number], step.id);
            const ArrayPtr array = version(number, step.done ? before : step.id);
            other->setPersistentData(array, field.fragments().at(number).id);
            keptStep.others[number] = array;
        }
        history.restore(other, {step.time, step.module, step.parameters, step.vertices, !step.done});
        kept.steps.push_back(std::move(keptStep));
    }
    for (const auto& [number, step] : present) {
        kept.present[number] = version(number, step);
        field.setPersistentData(kept.present[number], field.fragments().at(number).id);
    }
}

void EditKeeper::restoreLabels(const std::string& name, Fiber::Field& field) {
    const auto attributes = store_->attributes(name);
    const auto labels = attributes.find(LabelsName);
    if (labels == attributes.end()) return;
    const std::string text(reinterpret_cast<const char*>(labels->second.data()), labels->second.size());
    try {
        Kesh::LabelSet set;
        Kesh::VValueTrait<Kesh::LabelSet>::setValueFromText(set, text);
        Kesh::storeLabelSet(set, field, Holdfast::Ageable::nextTime());
    } catch (const std::invalid_argument& problem) {
        throw Failure(
            fmt::format("{}: the labels of {} cannot be understood: {}.", store_->path(), name, problem.what()));
    }
}

/// What was counted stands with the values, where whoever counts looks for it.
void EditKeeper::restoreCounts(const std::string& name, KeptField& kept, Fiber::Field& field) {
    if (!isCounted(kept, field)) return;
    for (const FragmentCounts& stored : store_->counts(name)) {
        const auto array = kept.present.find(stored.fragment);
        if (array == kept.present.end()) continue;
        const auto counts = Holdfast::create<Fiber::HistogramCounts>(CountedValues);
        std::uint64_t total = 0;
        for (const auto& [value, count] : stored.counts) {
            counts->values[value % CountedValues] += count;
            total += count;
        }
        if (total != array->second->size()) continue;
        array->second->attributes().setAttribute(Fiber::HistogramAttributeName(name), counts);
        array->second->updateAttributeAge(array->second->age());
        kept.counted[stored.fragment] = array->second;
    }
}

void EditKeeper::restoreBoxes() {
    const auto positions = survey_->points().findField(Fiber::PositionsName);
    for (const FragmentBox& stored : store_->boxes()) {
        const auto fragment = positions->fragments().find(stored.fragment);
        if (fragment == positions->fragments().end() || stored.fragment >= hasBox_.size()) continue;
        Sextant::BoundingBox box;
        box.include({stored.box[0], stored.box[1], stored.box[2]});
        box.include({stored.box[3], stored.box[4], stored.box[5]});
        Fiber::noteFragmentBBox(*fragment->second.array, box);
        hasBox_[stored.fragment] = true;
    }
}

/// Makes every version of the present: what is replaced in it must be what the store expects.
void EditKeeper::compareValues() const {
    for (const auto& [name, kept] : fields_) {
        if (!kept.stored) continue;
        for (const auto& [number, array] : kept.present)
            if (!(array == kept.originals.at(number))) array->getData();
        std::set<std::uint32_t>
            changed; // of a file that was saved in place the way back is the one with values to compare
        for (const StoredStep& step : store_->steps(name))
            for (const std::uint32_t number : store_->fragmentsOf(step.id)) changed.insert(number);
        for (const std::uint32_t number : changed) arrayOf(fragmentOf(name, kept, number), Beginning)->getData();
    }
}

/// Those of the survey and masks, in ascending order.
std::vector<std::string> EditKeeper::editableFields() const {
    std::vector<std::string> names;
    Fiber::Representation& points = survey_->points();
    for (const std::string& name : points.fieldNames()) {
        if (isEditable(*points.findField(name))) names.push_back(name);
    }
    return names;
}

void EditKeeper::addChange(const FieldChange& change, Commit& commit) const {
    append(commit.undone, change.undone);
    append(commit.redone, change.redone);
    append(commit.gone, change.gone);
    Commit::Amendment amendment{change.name, {}};
    for (const auto& [number, arrays] : change.amended)
        if (FragmentChange between = changeBetween(*arrays.first, *arrays.second); !between.empty())
            amendment.changes.push_back({number, std::move(between)});
    if (!amendment.changes.empty()) {
        const auto isCleared = [](const auto& amended) { return amended.second.second->knownZero(); };
        if (fields_.at(change.name).origin == Origin::Zeros && !std::ranges::all_of(change.amended, isCleared))
            commit.attributes.push_back({change.name, {UnexplainedMask, bytesOf(std::string("1"))}});
        commit.amended.push_back(std::move(amendment));
    }
    const Fiber::History history(survey_->points(), change.name);
    int next = history.position() - static_cast<int>(change.made.size());
    for (const FieldChange::NewStep& made : change.made) {
        const Fiber::UndoStep described = history.step(next++);
        Commit::Step step{change.name, described.time, described.module, described.parameters, described.vertices, {}};
        for (const auto& [number, before] : made.before)
            step.changes.push_back({number, changeBetween(*before, *made.after.at(number))});
        commit.steps.push_back(std::move(step));
    }
}

void EditKeeper::addLabels(const std::string& name, const KeptField& kept, Commit& commit) const {
    const auto field = survey_->points().findField(name);
    if (field->attributeAge() <= kept.labelAge) return;
    const auto labels = Kesh::readLabelSet(field->attributes());
    if (!labels) return;
    commit.attributes.push_back({name, {LabelsName, bytesOf(Kesh::VValueTrait<Kesh::LabelSet>::Text(*labels))}});
}

/// Those of the present that the store does not have.
void EditKeeper::addCounts(const std::string& name, const KeptField& kept, Commit& commit) const {
    const auto field = survey_->points().findField(name);
    const std::string attribute = Fiber::HistogramAttributeName(name);
    if (!isCounted(kept, *field) || !field->attributes().getAttribute<std::uint64_t>(attribute)) return;
    for (const auto& [number, fragment] : field->fragments()) {
        const ArrayPtr& array = fragment.array;
        const auto known = kept.counted.find(number);
        if (!array || (known != kept.counted.end() && known->second == array)) continue;
        const auto counted = array->attributes().getAttribute<std::uint64_t>(attribute);
        if (!counted || counted->size() != CountedValues || array->age() > array->attributeAge()) continue;
        FragmentCounts& counts = commit.counts.emplace_back(FragmentCounts{name, number, {}});
        for (std::uint32_t value = 0; value < CountedValues; ++value)
            if (const std::uint64_t count = counted->values[value]; count > 0) counts.counts.emplace_back(value, count);
    }
}

/// Those that became known. The nodes of a COPC have theirs from the file.
void EditKeeper::addBoxes(Commit& commit) const {
    if (survey_->las().copc) return;
    const auto positions = survey_->points().findField(Fiber::PositionsName);
    for (const auto& [number, fragment] : positions->fragments()) {
        if (number >= hasBox_.size() || hasBox_[number]) continue;
        const auto box = Fiber::knownFragmentBBox(*positions, fragment.id);
        if (!box || box->empty()) continue;
        const auto &low = box->minimum, &high = box->maximum;
        commit.boxes.push_back({number, {low.x, low.y, low.z, high.x, high.y, high.z}});
    }
}

EditKeeper::Kept EditKeeper::commit(const std::string& actions) {
    Commit commit;
    std::vector<FieldChange> changes;
    const std::vector<std::string> names = editableFields();
    for (const auto& [name, kept] : fields_)
        if (kept.stored && !std::ranges::binary_search(names, name)) commit.ended.push_back(name);
    for (const std::string& name : names) {
        const auto field = survey_->points().findField(name);
        const auto known = fields_.find(name);
        KeptField& kept = known != fields_.end() ? known->second : begin(name, *field);
        FieldChange change = changeSince(kept, survey_->points(), name);
        const std::size_t attributes = commit.attributes.size();
        addLabels(name, kept, commit);
        const bool nothing = change.nothing() && attributes == commit.attributes.size();
        if (!kept.stored && !nothing) commit.begun.push_back({name, widthOf(*field), kept.origin, Beginning});
        if (kept.stored || !nothing) addCounts(name, kept, commit);
        if (change.nothing()) continue;
        addChange(change, commit);
        changes.push_back(std::move(change));
    }
    if (!commit.steps.empty())
        commit.update = Commit::Update{std::time(nullptr), actionsToKeep(*store_, commit, actions)};
    commit.identity = rebound_;
    commit.pointsMayDiffer = rebound_.has_value(); // only the edited ones were compared
    if (isEmpty(commit)) return Kept::Nothing;
    if (!*halfSaved_ && survey_->las().file->isAnother())
        throw Failure(fmt::format("{}: another program has written to it since it was opened, so that other points may "
                                  "be there than those that were edited; nothing was kept of that. Open it again.",
                                  survey_->path()));
    addBoxes(commit);
    const Committed committed = store_->commit(commit);
    rebound_.reset();

    for (const std::string& name : commit.ended) fields_.erase(name);
    for (const StoredField& begun : commit.begun) fields_.at(begun.name).stored = true;
    for (const FragmentBox& box : commit.boxes) hasBox_[box.fragment] = true;
    for (const FragmentCounts& counts : commit.counts)
        fields_.at(counts.field).counted[counts.fragment] =
            survey_->points().findField(counts.field)->fragments().at(counts.fragment).array;
    for (const Commit::Attribute& attribute : commit.attributes)
        fields_.at(attribute.field).labelAge = survey_->points().findField(attribute.field)->attributeAge();
    std::size_t next = 0;
    for (FieldChange& change : changes) {
        const std::size_t count = change.made.size();
        adopt(change, std::span(committed.steps).subspan(next, count));
        next += count;
    }
    if (committed.update != 0) return Kept::Step;
    const bool moved = !commit.undone.empty() || !commit.redone.empty() || !commit.gone.empty();
    return moved ? Kept::Moved : Kept::Nothing;
}

/// From now on what changed can be made from the store.
void EditKeeper::adopt(FieldChange& change, std::span<const StepId> ids) {
    KeptField& kept = fields_.at(change.name);
    std::vector<KeptStep>& steps = kept.steps;
    const auto place =
        steps.erase(steps.begin() + std::ptrdiff_t(change.first), steps.begin() + std::ptrdiff_t(change.last));
    steps.insert(place, std::make_move_iterator(change.kept.begin()), std::make_move_iterator(change.kept.end()));
    const auto firstUndone = std::ranges::partition_point(steps, &KeptStep::done);
    const auto remakeable = [&](std::uint32_t number, const ArrayPtr& array, StepId step) {
        if (!(array == kept.originals.at(number)))
            array->becomeRemakeable(sourceOf(fragmentOf(change.name, kept, number), step));
    };
    const StepId present = firstUndone == steps.begin() ? Beginning : std::prev(firstUndone)->id;
    for (const auto& [number, arrays] : change.amended) remakeable(number, arrays.second, present);
    std::vector<KeptStep> made;
    for (std::size_t i = 0; i < ids.size(); ++i) {
        for (const auto& [number, array] : change.made[i].after) remakeable(number, array, ids[i]);
        made.push_back({ids[i], change.made[i].field, true, std::move(change.made[i].before)});
    }
    steps.insert(firstUndone, std::make_move_iterator(made.begin()), std::make_move_iterator(made.end()));
    kept.present = std::move(change.present);
}

} // namespace corvane
