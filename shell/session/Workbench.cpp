// SPDX-License-Identifier: Apache-2.0
#include "session/Workbench.hpp"

#include "Fiber/FieldHistogramBase.hpp"
#include "Fiber/FragmentBox.hpp"
#include "Fiber/History.hpp"
#include "Kesh/values/LabelAttributes.hpp"
#include "network/FieldRange.hpp"
#include "network/ReplayNetwork.hpp"
#include "session/EditableLabels.hpp"
#include "session/FieldSnapshot.hpp"
#include "session/InPlaceSaving.hpp"
#include "session/MaskSummary.hpp"
#include "session/StepList.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <functional>
#include <set>

namespace corvane {
namespace {

std::string trimmed(const std::string& text) { return text.substr(std::min(text.find_first_not_of(' '), text.size())); }

/// Fragments that have other arrays, or come or go.
std::vector<std::uint32_t> differences(const ArraysByFragment& before, const ArraysByFragment& after) {
    std::vector<std::uint32_t> numbers;
    for (const auto& [number, array] : after)
        if (const auto old = before.find(number); old == before.end() || !(old->second == array))
            numbers.push_back(number);
    for (const auto& [number, array] : before)
        if (!after.contains(number)) numbers.push_back(number);
    std::ranges::sort(numbers);
    return numbers;
}

/// Whether how often each value occurs is known of all fragments.
bool isCounted(const Fiber::Field& field, const std::string& name) {
    const std::string attribute = Fiber::HistogramAttributeName(name);
    return std::ranges::all_of(field.fragments(), [&](const Fiber::Field::Fragments::value_type& fragment) {
        const ArrayPtr& array = fragment.second.array;
        return !array ||
               (array->attributes().getAttribute<std::uint64_t>(attribute) && array->attributeAge() >= array->age());
    });
}

} // namespace

struct Workbench::Parts {
    using Actions = std::function<void()>;

    Parts(std::shared_ptr<const Session> ours, std::string ourPath, WorkbenchOptions ourOptions)
        : session(std::move(ours)), path(std::move(ourPath)), options(std::move(ourOptions)) {
        open();
    }

    void open();
    void close();
    void perform(const Actions& actions);
    void move(Which which, int done);
    void relabel(const Kesh::LabelSet& labels);
    void label(const std::set<int>& values);
    void labelUnder(const Stroke& stroke);
    void select(const Stroke& stroke, Selecting how, const SelectionRule& rule);
    void requireAssignable(int value) const;
    void requireUnlocked() const;
    void leaveOutHidden(const SelectionRule& rule);

    void keep();
    void refresh(const std::string& status);
    void refreshCounts();
    void refreshMask();
    bool countAll();

    const Survey& survey() const;
    Fiber::Representation& points() const { return survey().points(); }
    Holdfast::StrongPtr<Fiber::Field> field() const { return points().findField(state.field); }
    std::string nameOf(Which which) const { return which == Which::Data ? state.field : MaskName; }

    // Those below go first: networks, then survey and store, then what made them.
    std::shared_ptr<const Session> session;
    std::string path;
    WorkbenchOptions options;
    WorkbenchState state;
    std::vector<json::Value> earlier; // networks, of what was done before savings in place
    StepLists lists;
    StepId copied = Beginning; // what the copy that was saved last says
    EditedSurvey edited;
    std::unique_ptr<Network> network;
    std::unique_ptr<MaskedEdits> edits;
};

const Survey& Workbench::Parts::survey() const {
    if (!edited.survey) throw Failure(path + ": is not open any more; open it again.");
    return *edited.survey;
}

void Workbench::Parts::open() {
    edited = session->openToEdit(path, options.store);
    for (const std::string& warning : survey().warnings()) options.note(path + ": " + warning);
    const SurveyField& classes = survey().findField(options.field);
    if (classes.type != "uint8" || !classes.editable)
        throw UsageError(fmt::format("{}: \"{}\" is no field of classes of 8 bits.", path, classes.name));

    auto opened = std::make_shared<OpenSurvey>();
    opened->session = session;
    opened->survey = edited.survey;
    opened->field = state.field = classes.name;
    for (const SurveyField& known : survey().fields())
        if (known.name != classes.name) opened->fields[known.name] = points().findField(known.name);
    state.open = std::move(opened);
    state.path = path;
    state.points = survey().las().header.pointCount;
    ++state.opening;

    network = std::make_unique<Network>(edited.survey, session->watch());
    network->setUndoDepth(KeptSteps);
    edits = std::make_unique<MaskedEdits>(*network, classes.name, labelsForEditing(survey(), *field()));
    const bool first = !state.classes;
    state.classes = std::make_shared<const ArraysByFragment>(arraysOf(*field()));
    state.selected = std::make_shared<const ArraysByFragment>(selectedArrays(points()));
    if (first && !state.selected->empty()) refreshMask();
    refresh("");
}

void Workbench::Parts::close() {
    earlier.push_back(network->record().asJson("", "", "", ""));
    edits.reset();
    network.reset();
}

/// All of the actions and what is kept of them, or nothing.
void Workbench::Parts::perform(const Actions& actions) {
    FieldSnapshot data(points(), state.field), mask(points(), MaskName);
    const std::size_t firstAction = network->record().actions();
    const Kesh::LabelSet labels = edits->labels();
    try {
        actions();
        keep();
    } catch (...) {
        mask.restore();
        data.restore();
        network->forgetActionsSince(firstAction);
        if (!(edits->labels() == labels)) edits->setLabels(labels, false);
        throw;
    }
    refresh(network->status(MaskedEdits::Editor).text);
}

/// What is kept of an edit leads from the edit before to it.
void Workbench::Parts::keep() {
    if (edited.keeper->commit(network->record().newText()) != EditKeeper::Kept::Nothing) network->keepActions();
}

/// Undo and redo until so many steps are done.
void Workbench::Parts::move(Which which, int done) {
    Fiber::History history(points(), nameOf(which));
    const int before = history.position();
    if (done < 0 || done > history.size())
        throw UsageError(fmt::format("{}: there are {} steps; {} cannot be done.", path, history.size(), done));
    if (done == before) return;
    const std::size_t firstAction = network->record().actions();
    try {
        while (history.position() > done) which == Which::Data ? edits->undo() : edits->undoMask();
        while (history.position() < done) which == Which::Data ? edits->redo() : edits->redoMask();
        keep();
    } catch (...) {
        const auto moved = points().findField(nameOf(which));
        while (history.position() < before && history.redo(*moved, Holdfast::Ageable::nextTime())) {
        }
        while (history.position() > before && history.undo(*moved, Holdfast::Ageable::nextTime())) {
        }
        network->forgetActionsSince(firstAction);
        throw;
    }
    refresh(network->status(MaskedEdits::Editor).text);
}

void Workbench::Parts::relabel(const Kesh::LabelSet& labels) {
    const Kesh::LabelSet before = edits->labels();
    const auto stored = Kesh::readLabelSet(field()->attributes());
    const std::size_t firstAction = network->record().actions();
    try {
        edits->setLabels(labels, true);
        keep();
    } catch (...) {
        Kesh::storeLabelSet(stored.value_or(before), *field(), Holdfast::Ageable::nextTime());
        network->forgetActionsSince(firstAction);
        edits->setLabels(before, false);
        throw;
    }
    refresh("");
}

/// Classes that nobody named can be edited, too.
void Workbench::Parts::label(const std::set<int>& values) {
    const Survey& labelled = survey(); // throws when it is not open any more
    const auto labels = withLabelsFor(labelled, edits->labels(), values);
    if (labels) edits->setLabels(*labels, false);
}

/// Labels for the classes that the fragments have which the stroke meets.
void Workbench::Parts::labelUnder(const Stroke& stroke) {
    if (state.countsComplete) return; // all that occur have some
    const Kesh::Brush brush = brushOf(stroke, survey());
    const auto positions = points().findField(Fiber::PositionsName);
    std::array<bool, UINT8_MAX + 1> occurs{};
    std::uint64_t seen = 0;
    for (const auto& [number, fragment] : field()->fragments()) {
        session->watch()(seen++, field()->fragments().size(), "Looking which classes are there");
        if (!fragment.array || !positions->getCreator(fragment.id)) continue;
        if (brush.readsPositions() &&
            brush.partOf(Fiber::getFragmentBBox(*positions, fragment.id)) == Kesh::Brush::Part::None)
            continue;
        const auto values = Fiber::arrayOf<std::uint8_t>(fragment.array->getData());
        for (const std::uint8_t value : values->values()) occurs[value] = true;
    }
    std::set<int> values;
    for (std::size_t value = 0; value < occurs.size(); ++value)
        if (occurs[value]) values.insert(static_cast<int>(value));
    label(values);
}

void Workbench::Parts::select(const Stroke& stroke, Selecting how, const SelectionRule& rule) {
    labelUnder(stroke);
    edits->select(stroke, how, rule);
}

void Workbench::Parts::requireAssignable(int value) const {
    const auto largest = static_cast<int>(largestValueOf(survey(), survey().findField(state.field)));
    if (value < 0 || value > largest)
        throw UsageError(
            fmt::format("{}: has no class {}; those of its point format are 0 to {}.", path, value, largest));
    if (isLockedClass(edits->labels(), value))
        throw UsageError(fmt::format("Class {} is locked, and nothing is assigned to it; unlock it first.", value));
}

/// What was selected may have been locked since.
void Workbench::Parts::requireUnlocked() const {
    std::uint64_t locked = 0;
    std::vector<std::string> classes;
    for (const auto& [value, count] : state.mask.counts) {
        if (count == 0 || !isLockedClass(edits->labels(), value)) continue;
        locked += count;
        classes.push_back(std::to_string(value));
    }
    if (locked > 0)
        throw UsageError(fmt::format("Of what is selected {} of locked classes ({}), and nothing was assigned; unlock "
                                     "them, or draw anew.",
                                     locked == 1 ? "1 point is" : fmt::format("{} points are", locked),
                                     fmt::join(classes, ", ")));
}

/// What was selected may have been hidden since. It is looked for where the selection can have such points.
void Workbench::Parts::leaveOutHidden(const SelectionRule& rule) {
    const MaskSummary& mask = state.mask;
    const auto isSelected = [&](int value) { return mask.counts.contains(value) && mask.counts.at(value) > 0; };
    const bool outside = rule.heights && (mask.range[0] < (*rule.heights)[0] || mask.range[1] > (*rule.heights)[1]);
    const bool any = std::ranges::any_of(rule.hiddenClasses, isSelected);
    if (mask.complete && !any && !outside && rule.hiddenReturns.empty()) return;
    if (const auto hidden = strokeOfHidden(rule, state.field)) edits->select(*hidden, Selecting::Remove, {});
    if (!anySelected(points())) throw UsageError("All that is selected is hidden; show it, or draw anew.");
}

/// What is behind a call. Counting may be stopped: then the counts are not complete, and the call has succeeded.
void Workbench::Parts::refresh(const std::string& status) {
    auto classes = std::make_shared<const ArraysByFragment>(arraysOf(*field()));
    auto selected = std::make_shared<const ArraysByFragment>(selectedArrays(points()));
    state.changedClasses = differences(*state.classes, *classes);
    state.changedMask = differences(*state.selected, *selected);
    if (!state.changedClasses.empty()) state.classes = std::move(classes);
    if (!state.changedMask.empty()) state.selected = std::move(selected);
    refreshCounts();
    if (!state.changedMask.empty()) refreshMask();
    state.labels = std::make_shared<const Kesh::LabelSet>(edits->labels());
    const EditStore& store = edited.keeper->store();
    const auto steps = marksOf(store, state.field);
    state.data = lists.of(store, state.field, *state.labels);
    state.maskHistory = lists.of(store, MaskName, *state.labels);
    state.notInFile = stepsBehind(steps, filePositionOf(store, state.field));
    state.notInCopy = state.copyPath.empty() ? 0 : stepsBehind(steps, copied);
    state.status = trimmed(status);
    ++state.number;
}

/// Counts that are complete stay so: only what changed is read.
void Workbench::Parts::refreshCounts() {
    if (!state.countsComplete && !isCounted(*field(), state.field)) return;
    if (state.countsComplete && state.changedClasses.empty() && !state.counts->empty()) return;
    try {
        countAll();
    } catch (const Failure&) {
        state.countsComplete = false;
    }
}

bool Workbench::Parts::countAll() {
    const Count counted = countPoints(survey(), {.field = survey().selector(state.field)}, session->watch());
    state.countsComplete = counted.complete() && !counted.outOfDate();
    state.counts = std::make_shared<const ClassCounts>(classCounts(counted.histogram));
    std::set<int> values;
    for (const auto& [value, count] : *state.counts) values.insert(value);
    label(values);
    return state.countsComplete;
}

void Workbench::Parts::refreshMask() {
    state.mask = {};
    if (state.selected->empty()) return;
    try {
        state.mask = maskSummary(survey(), state.field, session->watch());
    } catch (const Failure&) {
        state.mask.complete = false;
    }
}

Workbench::Workbench(std::shared_ptr<const Session> session, const std::string& path, WorkbenchOptions options)
    : parts_(std::make_unique<Parts>(std::move(session), path, std::move(options))) {}

Workbench::~Workbench() = default;

const WorkbenchState& Workbench::state() const { return parts_->state; }

const WorkbenchState& Workbench::select(const Stroke& stroke, Selecting how, const SelectionRule& rule) {
    parts_->perform([&] { parts_->select(stroke, how, rule); });
    return state();
}

const WorkbenchState& Workbench::assign(int value, const SelectionRule& rule) {
    parts_->requireAssignable(value);
    if (!anySelected(parts_->points())) throw UsageError("Nothing is selected; draw first.");
    parts_->requireUnlocked();
    parts_->perform([&] {
        parts_->leaveOutHidden(rule);
        parts_->label({value});
        parts_->edits->assign(value);
    });
    return state();
}

const WorkbenchState& Workbench::selectAndAssign(const Stroke& stroke, const SelectionRule& rule, int value) {
    parts_->requireAssignable(value);
    parts_->perform([&] {
        parts_->select(stroke, Selecting::Replace, rule);
        if (!anySelected(parts_->points())) throw UsageError("No point is there that can be changed.");
        parts_->label({value});
        parts_->edits->assign(value);
    });
    return state();
}

const WorkbenchState& Workbench::clearMask() {
    parts_->perform([&] { parts_->edits->clear(); });
    return state();
}

const WorkbenchState& Workbench::undo() { return goToStep(Which::Data, state().data.position - 1); }
const WorkbenchState& Workbench::redo() { return goToStep(Which::Data, state().data.position + 1); }
const WorkbenchState& Workbench::undoMask() { return goToStep(Which::Mask, state().maskHistory.position - 1); }
const WorkbenchState& Workbench::redoMask() { return goToStep(Which::Mask, state().maskHistory.position + 1); }

const WorkbenchState& Workbench::goToStep(Which history, int done) {
    parts_->move(history, done);
    return state();
}

const WorkbenchState& Workbench::setLocked(int value, bool locked) {
    parts_->label({value});
    Kesh::LabelSet labels = parts_->edits->labels();
    labels[value].flags[EditableFlag] = !locked;
    parts_->relabel(labels);
    return state();
}

const WorkbenchState& Workbench::setLabel(int value, const std::string& name, const Sextant::rgba_float_t& colour) {
    parts_->label({value});
    Kesh::LabelSet labels = parts_->edits->labels();
    labels[value].name = name;
    labels[value].colour = colour;
    parts_->relabel(labels);
    return state();
}

const WorkbenchState& Workbench::count() {
    const bool complete = parts_->countAll();
    parts_->keep(); // the counts, where something is kept
    parts_->refresh("");
    if (!complete) throw Failure(fmt::format("{}: some of its classes could not be read.", state().path));
    return state();
}

const WorkbenchState& Workbench::saveCopy(const std::string& path, bool overwrite) {
    for (const std::string& loss : parts_->session->save(parts_->survey(), path, overwrite))
        parts_->options.note(path + ": " + loss);
    parts_->state.copyPath = path;
    const auto field = parts_->edited.keeper->store().findField(state().field);
    parts_->copied = field ? field->present : Beginning;
    parts_->refresh(fmt::format("Saved as {}.", path));
    return state();
}

const WorkbenchState& Workbench::saveInPlace() {
    parts_->survey();
    parts_->close();
    std::string said;
    std::exception_ptr problem;
    try {
        const InPlaceSaved saved = corvane::saveInPlace(std::move(parts_->edited), nullptr, parts_->session->watch());
        for (const std::string& loss : saved.losses) parts_->options.note(parts_->path + ": " + loss);
        said = saved.obstacle.empty() ? "Saved." : fmt::format("Saved as a new file, since {}.", saved.obstacle);
    } catch (const Failure&) {
        problem = std::current_exception();
    }
    parts_->edited = {};
    parts_->open(); // which completes what had begun
    if (problem && state().notInFile > 0) std::rethrow_exception(problem);
    parts_->state.status = said.empty() ? "Saved." : said;
    return state();
}

std::string Workbench::record() const {
    std::vector<json::Value> networks = parts_->earlier;
    if (parts_->network) networks.push_back(parts_->network->record().asJson("", "", "", ""));
    json::Value network = networks.size() == 1 ? networks.front() : replayNetwork(networks);
    network["survey"] = parts_->path;
    return network.dump(2, ' ', false, json::Value::error_handler_t::replace) + "\n";
}

} // namespace corvane
