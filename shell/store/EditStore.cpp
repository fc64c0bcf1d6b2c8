// SPDX-License-Identifier: Apache-2.0
#include "store/EditStore.hpp"

#include "base/ByteCode.hpp"
#include "store/StoreCommit.hpp"
#include "store/StoreState.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <unistd.h>

namespace corvane {
namespace {

StoredStep storedStep(const Line& line, std::size_t i) {
    const Line::Step& step = line.steps[i];
    return {step.id, step.update, line.name, step.time, step.module, step.parameters, step.vertices, i < line.present};
}

} // namespace

EditStore::EditStore(std::unique_ptr<StoreState> state) : state_(std::move(state)) {}
EditStore::~EditStore() = default;
EditStore::EditStore(EditStore&&) noexcept = default;

bool EditStore::exists(const std::string& path) { return sizeOfFile(path) > 0; }

EditStore EditStore::create(const std::string& path, const SurveyIdentity& survey, Options options) {
    auto state = std::make_unique<StoreState>(path, options);
    state->openToWrite(&survey);
    return EditStore(std::move(state));
}

EditStore::EditStore(const std::string& path, Access access, Options options)
    : state_(std::make_unique<StoreState>(path, options)) {
    if (access == Access::Read)
        state_->openToRead();
    else
        state_->openToWrite(nullptr);
}

void EditStore::close() {
    const std::scoped_lock lock(state_->mutex);
    state_->close();
}

void EditStore::remove(const std::string& path) {
    const WriterLock lock(path);
    // The store first: what else there is means nothing without it, and is removed by who makes the next one.
    if (unlink(path.c_str()) != 0 && errno != ENOENT)
        throw Failure(fmt::format("{}: cannot be removed: {}. Check that you may write to its folder.", path,
                                  std::strerror(errno)));
    for (const auto& name : {logOf(path), journalOf(path), memoryOf(path)}) unlink(name.c_str());
}

const std::string& EditStore::path() const { return state_->path(); }

bool EditStore::mayWrite() const {
    const std::scoped_lock lock(state_->mutex);
    return state_->mayWrite();
}

SurveyIdentity EditStore::identity() const {
    const std::scoped_lock lock(state_->mutex);
    return state_->survey.identity;
}

std::vector<StoredField> EditStore::fields() const {
    const std::scoped_lock lock(state_->mutex);
    std::vector<StoredField> fields;
    for (const Line& line : state_->lines)
        fields.push_back({line.name, line.width, line.origin, line.version(line.present)});
    return fields;
}

std::optional<StoredField> EditStore::findField(const std::string& name) const {
    const auto all = fields();
    const auto found = std::ranges::find(all, name, &StoredField::name);
    return found == all.end() ? std::nullopt : std::optional(*found);
}

std::vector<StoredStep> EditStore::steps(const std::string& field) const {
    const std::scoped_lock lock(state_->mutex);
    std::vector<StoredStep> steps;
    const Line& line = state_->line(field);
    for (std::size_t i = 0; i < line.steps.size(); ++i) steps.push_back(storedStep(line, i));
    return steps;
}

std::vector<StoredStep> EditStore::steps() const {
    const std::scoped_lock lock(state_->mutex);
    std::vector<StoredStep> steps;
    for (const Line& line : state_->lines)
        for (std::size_t i = 0; i < line.steps.size(); ++i) steps.push_back(storedStep(line, i));
    std::ranges::sort(steps, {}, &StoredStep::id);
    return steps;
}

std::vector<StepMark> EditStore::marks(const std::string& field) const {
    const std::scoped_lock lock(state_->mutex);
    const Line& line = state_->line(field);
    std::vector<StepMark> marks;
    marks.reserve(line.steps.size());
    for (const Line::Step& step : line.steps) marks.push_back({step.id, step.update, marks.size() < line.present});
    return marks;
}

StoredStep EditStore::step(StepId id) const {
    const std::scoped_lock lock(state_->mutex);
    const Line& line = lineWith(id);
    return storedStep(line, *line.placeOf(id) - 1);
}

const Line& EditStore::lineWith(StepId step) const {
    if (const Line* line = state_->lineOf(step)) return *line;
    throw Failure(fmt::format("{}: there is no step {}.", path(), step));
}

std::vector<StoredUpdate> EditStore::updates() const {
    const std::scoped_lock lock(state_->mutex);
    std::vector<StoredUpdate> updates;
    for (const auto& [id, time] : state_->updates) updates.push_back({id, time, {}});
    for (const Line& line : state_->lines) {
        for (const auto& step : line.steps) {
            const auto update = std::ranges::lower_bound(updates, step.update, {}, &StoredUpdate::id);
            if (update != updates.end() && update->id == step.update) update->steps.push_back(step.id);
        }
    }
    for (StoredUpdate& update : updates) std::ranges::sort(update.steps);
    return updates;
}

std::string EditStore::actions(UpdateId update) const {
    const std::scoped_lock lock(state_->mutex);
    auto rows = state_->database().query("SELECT * FROM actions WHERE id = ?", {update});
    if (!rows.next() || !rows.isSound())
        throw Failure(fmt::format("{}: the actions of update {} are missing or damaged; the edits themselves are not.",
                                  path(), update));
    return rows.text(1);
}

std::vector<std::uint32_t> EditStore::fragmentsOf(StepId step) const {
    const std::scoped_lock lock(state_->mutex);
    const Line& line = lineWith(step);
    return line.steps[*line.placeOf(step) - 1].fragments.numbers();
}

std::vector<std::uint32_t> EditStore::changedFragments(const std::string& field) const {
    const std::scoped_lock lock(state_->mutex);
    const Line& line = state_->line(field);
    const FragmentSet steps = line.changedBetween(0, line.steps.size());
    return FragmentSet::united({&steps, &line.base}).numbers();
}

bool EditStore::hasBase(const std::string& field) const {
    const std::scoped_lock lock(state_->mutex);
    return !state_->line(field).base.empty();
}

std::map<std::uint32_t, StepId> EditStore::versions(const std::string& field) const {
    std::map<std::uint32_t, StepId> versions;
    for (const std::uint32_t fragment : changedFragments(field)) versions[fragment] = Beginning;
    const std::scoped_lock lock(state_->mutex);
    const Line& line = state_->line(field);
    for (const auto& [fragment, step] : line.versionsAt(line.present)) versions[fragment] = step;
    return versions;
}

void EditStore::valuesOf(const std::string& field, std::uint32_t fragment, StepId afterStep,
                         std::span<std::byte> values, bool halfSaved) const {
    std::unique_lock lock(state_->mutex);
    const Line& line = state_->line(field);
    const std::size_t place = state_->placeOf(line, afterStep);
    // While the survey is written to, only the present can be told from it: what differs is there or not, and no third.
    const auto direct = state_->legsFromOrigin(line, fragment, halfSaved ? line.present : place);
    const auto further =
        halfSaved ? state_->legsBetween(line, fragment, line.present, place) : std::vector<StoreState::StoredLeg>();
    const StoreState::Part part = {field, fragment, line.width};
    const bool zeros = line.origin == Origin::Zeros;
    lock.unlock();

    if (zeros) std::ranges::fill(values, std::byte{0});
    if (halfSaved) {
        if (const auto sum = state_->sumOf(part, direct))
            state_->apply(part, *sum, afterStep, FragmentChange::Direction::Forward, FragmentChange::Expect::Either,
                          values);
    } else {
        for (const auto& leg : direct) state_->apply(part, leg, values);
    }
    for (const auto& leg : further) state_->apply(part, leg, values);
}

std::optional<FragmentChange> EditStore::changeFromOrigin(const std::string& field, std::uint32_t fragment,
                                                          StepId afterStep) const {
    std::unique_lock lock(state_->mutex);
    const Line& line = state_->line(field);
    const auto legs = state_->legsFromOrigin(line, fragment, state_->placeOf(line, afterStep));
    const StoreState::Part part = {field, fragment, line.width};
    lock.unlock();
    return state_->sumOf(part, legs);
}

std::optional<FragmentChange> EditStore::changeOfAll(const std::string& field, std::uint32_t fragment) const {
    std::unique_lock lock(state_->mutex);
    const Line& line = state_->line(field);
    // Saved in place, the survey is a version amid the others.
    const auto legs = line.anchor == 0 ? state_->legsFromOrigin(line, fragment, line.present)
                                       : state_->legsBetween(line, fragment, 0, line.present);
    const StoreState::Part part = {field, fragment, line.width};
    lock.unlock();
    return state_->sumOf(part, legs);
}

std::optional<FragmentChange> EditStore::changeBetween(const std::string& field, std::uint32_t fragment, StepId from,
                                                       StepId to) const {
    std::unique_lock lock(state_->mutex);
    const Line& line = state_->line(field);
    const auto legs = state_->legsBetween(line, fragment, state_->placeOf(line, from), state_->placeOf(line, to));
    const StoreState::Part part = {field, fragment, line.width};
    lock.unlock();
    return state_->sumOf(part, legs);
}

std::map<std::string, std::vector<std::byte>> EditStore::attributes(const std::string& field) const {
    const std::scoped_lock lock(state_->mutex);
    std::map<std::string, std::vector<std::byte>> attributes;
    auto rows = state_->database().query("SELECT * FROM attributes WHERE field = ?", {state_->line(field).id});
    while (rows.next()) {
        if (!rows.isSound()) continue;
        const auto bytes = rows.bytes(2);
        attributes[rows.text(1)].assign(bytes.begin(), bytes.end());
    }
    return attributes;
}

std::vector<FragmentBox> EditStore::boxes() const {
    const std::scoped_lock lock(state_->mutex);
    std::vector<FragmentBox> boxes;
    auto rows = state_->database().query("SELECT * FROM boxes ORDER BY fragment");
    while (rows.next()) {
        if (!rows.isSound() || rows.bytes(1).size() != sizeof(FragmentBox::box)) continue;
        FragmentBox& box = boxes.emplace_back();
        box.fragment = static_cast<std::uint32_t>(rows.number(0));
        std::ranges::copy(rows.bytes(1), std::as_writable_bytes(std::span(box.box)).begin());
    }
    return boxes;
}

std::vector<FragmentCounts> EditStore::counts(const std::string& field) const {
    const std::scoped_lock lock(state_->mutex);
    const Line& line = state_->line(field);
    const auto versions = line.versionsAt(line.present);
    std::vector<FragmentCounts> all;
    auto rows = state_->database().query("SELECT * FROM counts WHERE field = ?", {line.id});
    while (rows.next()) {
        if (!rows.isSound()) continue;
        FragmentCounts counts{field, static_cast<std::uint32_t>(rows.number(1)), {}};
        const auto version = versions.find(counts.fragment);
        const StepId present = version == versions.end() ? Beginning : version->second;
        const StepId counted = rows.number(2) <= line.folded ? Beginning : rows.number(2);
        if (counted != present) continue;
        ByteReader reader(rows.bytes(3));
        try {
            while (reader.left() > 0) {
                const auto value = static_cast<std::uint32_t>(reader.number(std::numeric_limits<std::uint32_t>::max()));
                counts.counts.emplace_back(value, reader.number());
            }
        } catch (const BadBytes&) {
            continue;
        }
        all.push_back(std::move(counts));
    }
    return all;
}

std::optional<std::vector<std::byte>> EditStore::entry(const std::string& name) const {
    const std::scoped_lock lock(state_->mutex);
    return state_->valueOf("SELECT * FROM entries WHERE name = ?", name);
}

Committed EditStore::commit(const Commit& commit) {
    const std::scoped_lock lock(state_->mutex);
    return carriedOut(commit);
}

void EditStore::commitAndClose(const Commit& commit) {
    const std::scoped_lock lock(state_->mutex);
    state_->leaveSyncToClosing();
    carriedOut(commit);
    state_->close();
}

Committed EditStore::carriedOut(const Commit& commit) {
    return state_->writing([&] {
        SqliteTransaction transaction(state_->database());
        const Committed given = carryOut(commit, *state_);
        transaction.commit();
        state_->keepCommit();
        return given;
    });
}

void EditStore::tidy() {
    const std::scoped_lock lock(state_->mutex);
    state_->requireWriting();
    state_->tidy();
}

void EditStore::shrink() {
    const std::scoped_lock lock(state_->mutex);
    state_->writing([&] {
        state_->database().run("VACUUM");
        state_->keepCommit();
    });
}

const std::vector<StoreDamage>& EditStore::damage() const { return state_->damage; }

} // namespace corvane
