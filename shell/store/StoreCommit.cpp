// SPDX-License-Identifier: Apache-2.0
#include "store/StoreCommit.hpp"

#include "base/ByteCode.hpp"
#include "base/InOrder.hpp"
#include "base/Text.hpp"
#include "store/StoreState.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <set>

namespace corvane {
namespace {

using Direction = FragmentChange::Direction;

class Committing {
public:
    explicit Committing(StoreState& state) : state_(state), database_(state.database()) {}

    Committed carryOut(const Commit& commit) {
        for (const auto& name : commit.ended) end(name);
        for (const auto& field : commit.begun) begin(field);
        for (const StepId step : commit.undone) move(step, false);
        for (const StepId step : commit.redone) move(step, true);
        removeSteps(commit.gone);
        for (const auto& amendment : commit.amended)
            for (const auto& [fragment, change] : amendment.changes) amend(touched(amendment.field), fragment, change);
        const Committed given = addSteps(commit);
        for (const auto& [field, value] : commit.attributes) setAttribute(touched(field), value);
        if (commit.identity) survey_.identity = *commit.identity;
        if (commit.pointsMayDiffer) database_.run("DELETE FROM boxes; DELETE FROM counts");
        for (const auto& box : commit.boxes) setBox(box);
        for (const auto& count : commit.counts) setCount(count);
        for (const auto& entry : commit.entries) setEntry(entry);
        for (const auto& name : commit.saved) save(touched(name));
        removeEmptiedUpdates();
        for (const std::int64_t id : touched_) putLine(id);
        survey_.fields = std::ssize(state_.lines);
        survey_.put(database_);
        return given;
    }

private:
    [[noreturn]] void refuse(const std::string& what) const {
        throw Failure(fmt::format("{}: nothing was stored, since {}.", state_.path(), what));
    }

    static StoreState::Part partOf(const Line& line, std::uint32_t fragment) {
        return {line.name, fragment, line.width};
    }

    Line& touched(const std::string& field) {
        Line& line = state_.line(field);
        touched_.insert(line.id);
        return line;
    }

    void end(const std::string& name) {
        Line& line = state_.line(name);
        for (const auto& step : line.steps) removeStep(line, step);
        for (const char* statement : {"DELETE FROM bases WHERE field = ?", "DELETE FROM summaries WHERE field = ?",
                                      "DELETE FROM attributes WHERE field = ?", "DELETE FROM counts WHERE field = ?",
                                      "DELETE FROM fields WHERE id = ?"})
            database_.run(statement, {line.id});
        touched_.erase(line.id);
        state_.lines.erase(state_.lines.begin() + (&line - state_.lines.data()));
    }

    void begin(const StoredField& field) {
        if (state_.findLine(field.name)) refuse(fmt::format("field \"{}\" is there already", escaped(field.name)));
        if (field.width != 1 && field.width != 2)
            refuse(fmt::format("field \"{}\" has values of {} bytes where 1 or 2 are expected", escaped(field.name),
                               field.width));
        Line line;
        line.id = state_.lines.empty() ? 1 : state_.lines.back().id + 1; // rows of ended ones are gone
        line.name = field.name;
        line.width = field.width;
        line.origin = field.origin;
        line.folded = survey_.lastStep;
        touched_.insert(line.id);
        state_.lines.push_back(std::move(line));
    }

    Line& lineOf(StepId step) {
        Line* line = state_.lineOf(step);
        if (!line) refuse(fmt::format("there is no step {}", step));
        touched_.insert(line->id);
        return *line;
    }

    void move(StepId step, bool done) {
        Line& line = lineOf(step);
        const std::size_t place = *line.placeOf(step), expected = done ? line.present + 1 : line.present;
        if (place != expected)
            refuse(fmt::format("step {} of field \"{}\" is not next to the present", step, escaped(line.name)));
        line.present = done ? place : place - 1;
    }

    void removeSteps(const std::vector<StepId>& gone) {
        const std::set<StepId> steps(gone.begin(), gone.end());
        std::set<std::int64_t> lines;
        for (const StepId step : steps) lines.insert(lineOf(step).id);
        const auto goes = [&](const Line::Step& step) { return steps.contains(step.id); };
        for (Line& line : state_.lines) {
            if (!lines.contains(line.id)) continue;
            const auto present = line.steps.begin() + std::ptrdiff_t(line.present);
            const auto low = std::find_if_not(line.steps.begin(), present, goes) - line.steps.begin();
            const auto ahead = std::find_if_not(line.steps.rbegin(), std::reverse_iterator(present), goes);
            if (low + (ahead - line.steps.rbegin()) != std::ranges::count_if(line.steps, goes))
                refuse(
                    fmt::format("steps from the middle of the history of field \"{}\" are to go", escaped(line.name)));
            keepSteps(line, std::size_t(low), std::size_t(line.steps.rend() - ahead));
        }
    }

    /// Removes all steps but those between two places. What the survey says with the base becomes the version at the
    /// nearest place that stays.
    void keepSteps(Line& line, std::size_t low, std::size_t high) {
        touched_.insert(line.id);
        moveAnchor(line, std::clamp(line.anchor, low, high));
        for (std::size_t i = 0; i < line.steps.size(); ++i) {
            if (i >= low && i < high) continue;
            removeCounts(line, line.steps[i], i < low);
            removeStep(line, line.steps[i]);
        }
        if (low > 0) line.folded = line.steps[low - 1].id;
        line.steps.erase(line.steps.begin() + std::ptrdiff_t(high), line.steps.end());
        line.steps.erase(line.steps.begin(), line.steps.begin() + std::ptrdiff_t(low));
        line.anchor -= low;
        line.present -= low;
    }

    void moveAnchor(Line& line, std::size_t place) {
        for (const std::uint32_t fragment : line.changedBetween(line.anchor, place).numbers())
            setBase(line, fragment,
                    *state_.sumOf(partOf(line, fragment), state_.legsFromOrigin(line, fragment, place)));
        line.anchor = place;
        rebuildBase(line);
    }

    void removeStep(const Line& line, const Line::Step& step) {
        database_.run("DELETE FROM changes WHERE step = ?", {step.id});
        for (const std::uint32_t fragment : step.fragments.numbers())
            database_.run("DELETE FROM summaries WHERE field = ? AND fragment = ? AND step = ?",
                          {line.id, fragment, step.id});
        database_.run("DELETE FROM steps WHERE id = ?", {step.id});
        emptied_.insert(step.update);
    }

    /// What was counted before a step that joins the base, or behind one that vanishes, is of a version that is gone.
    void removeCounts(const Line& line, const Line::Step& step, bool joins) {
        const char* const statement = joins ? "DELETE FROM counts WHERE field = ? AND fragment = ? AND version < ?"
                                            : "DELETE FROM counts WHERE field = ? AND fragment = ? AND version = ?";
        for (const std::uint32_t fragment : step.fragments.numbers())
            database_.run(statement, {line.id, fragment, step.id});
    }

    /// A change of nothing is no base.
    void setBase(Line& line, std::uint32_t fragment, const FragmentChange& change) {
        if (change.empty()) {
            database_.run("DELETE FROM bases WHERE field = ? AND fragment = ?", {line.id, fragment});
            without_.push_back(fragment);
        } else {
            database_.put("INSERT OR REPLACE INTO bases VALUES(?,?,?,?)", {line.id, fragment, change.encode()});
            with_.push_back(fragment);
        }
    }

    /// Notes which fragments got a base, or lost it.
    void rebuildBase(Line& line) {
        std::ranges::sort(without_);
        for (const std::uint32_t fragment : line.base.numbers())
            if (!std::ranges::binary_search(without_, fragment)) with_.push_back(fragment);
        line.base = FragmentSet(std::move(with_));
        with_.clear();
        without_.clear();
    }

    /// A change of the version at the present joins the step before it that changed the fragment last, and the step
    /// ahead that changes it next begins with it; so what is before the one and behind the other stays as it is.
    void amend(Line& line, std::uint32_t fragment, const FragmentChange& change) {
        requireWidth(line, change);
        const auto changes = [&](const Line::Step& step) { return step.fragments.contains(fragment); };
        const auto begin = line.steps.begin(), present = begin + std::ptrdiff_t(line.present);
        const auto last = std::find_if(std::reverse_iterator(present), line.steps.rend(), changes);
        const auto next = std::find_if(present, line.steps.end(), changes);
        const auto low = static_cast<std::size_t>(line.steps.rend() - last); // the place behind that step, or 0
        const auto high = static_cast<std::size_t>(next - begin);
        const auto stored = [&](StepId step) {
            return state_.decoded(partOf(line, fragment),
                                  {state_.changeOf(line, step, fragment), step, Direction::Forward});
        };
        try {
            if (low > 0) replaceChange(last->id, fragment, stored(last->id).then(change));
            if (high < line.steps.size()) replaceChange(next->id, fragment, change.inverted().then(stored(next->id)));
            if (line.anchor >= low && line.anchor <= high) {
                const auto base =
                    state_.sumOf(partOf(line, fragment), state_.legsFromOrigin(line, fragment, line.anchor));
                setBase(line, fragment, base ? base->then(change) : change);
                rebuildBase(line);
            }
        } catch (const BadBytes& error) {
            refuse(fmt::format("a change of field \"{}\", fragment {}, does not fit those before: {}",
                               escaped(line.name), fragment, error.what()));
        }
        for (const char* statement : {"DELETE FROM summaries WHERE field = ? AND fragment = ?",
                                      "DELETE FROM counts WHERE field = ? AND fragment = ?"})
            database_.run(statement, {line.id, fragment});
    }

    void replaceChange(StepId step, std::uint32_t fragment, const FragmentChange& change) {
        database_.run("DELETE FROM changes WHERE step = ? AND fragment = ?", {step, fragment});
        putChange(step, fragment, change.encode());
    }

    void putChange(StepId step, std::uint32_t fragment, const Bytes& change) {
        database_.put("INSERT INTO changes VALUES(?,?,?,?)", {step, fragment, change});
    }

    void requireWidth(const Line& line, const FragmentChange& change) const {
        if (change.width() != line.width)
            refuse(fmt::format("a change of field \"{}\" has values of {} bytes where {} are expected",
                               escaped(line.name), change.width(), line.width));
    }

    Committed addSteps(const Commit& commit) {
        Committed given;
        if (!commit.update && !commit.steps.empty()) refuse("a step belongs to no update");
        if (!commit.update) return given;
        given.update = ++survey_.lastUpdate;
        database_.put("INSERT INTO updates VALUES(?,?,?)", {given.update, commit.update->time});
        database_.put("INSERT INTO actions VALUES(?,?,?)", {given.update, commit.update->actions});
        state_.updates.push_back({given.update, commit.update->time});
        for (const auto& step : commit.steps) given.steps.push_back(addStep(given.update, step));
        return given;
    }

    /// Encodes on all threads, in parts that are worth handing over.
    void putChanges(StepId step, const std::vector<const ChangedFragment*>& changes) {
        constexpr std::size_t Worth = 1 << 16; // changed points
        std::vector<std::size_t> ends;         // of the parts
        for (std::size_t i = 0, points = 0; i < changes.size(); ++i) {
            points += changes[i]->change.changed();
            if (points < Worth && i + 1 < changes.size()) continue;
            ends.push_back(i + 1);
            points = 0;
        }
        const auto beginOf = [&](std::size_t part) { return part == 0 ? 0 : ends[part - 1]; };
        const auto encode = [&](std::size_t part) {
            std::vector<Bytes> encoded;
            for (std::size_t i = beginOf(part); i < ends[part]; ++i) encoded.push_back(changes[i]->change.encode());
            return encoded;
        };
        inOrder(ends.size(), encode, [&](std::size_t part, const std::vector<Bytes>& encoded) {
            for (std::size_t i = 0; i < encoded.size(); ++i)
                putChange(step, changes[beginOf(part) + i]->fragment, encoded[i]);
        });
    }

    StepId addStep(UpdateId update, const Commit::Step& step) {
        Line& line = touched(step.field);
        keepSteps(line, 0, line.present);
        const StepId id = ++survey_.lastStep;
        std::vector<const ChangedFragment*> changes;
        for (const auto& changed : step.changes) changes.push_back(&changed);
        std::ranges::sort(changes, {}, &ChangedFragment::fragment); // in the order of the table
        std::vector<std::uint32_t> fragments;
        for (const auto* changed : changes) {
            requireWidth(line, changed->change);
            fragments.push_back(changed->fragment);
        }
        putChanges(id, changes);
        Line::Step added{id, update, step.time, step.module, step.parameters, step.vertices, FragmentSet(fragments)};
        database_.put(
            "INSERT INTO steps VALUES(?,?,?,?,?,?,?,?,?)",
            {id, update, line.id, step.time, step.module, step.parameters, step.vertices, added.fragments.encode()});
        line.timesChanged(0); // counts the steps before
        line.steps.push_back(std::move(added));
        line.present = line.steps.size();
        for (const std::uint32_t fragment : fragments) state_.noteChange(line, fragment);
        return id;
    }

    bool has(const char* statement, std::initializer_list<SqliteValue> values) {
        return database_.query(statement, values).next();
    }

    void setAttribute(Line& line, const NamedBytes& value) {
        line.attributes -= has("SELECT 1 FROM attributes WHERE field = ? AND name = ?", {line.id, value.name});
        if (value.bytes)
            database_.put("INSERT OR REPLACE INTO attributes VALUES(?,?,?,?)", {line.id, value.name, *value.bytes});
        else
            database_.run("DELETE FROM attributes WHERE field = ? AND name = ?", {line.id, value.name});
        line.attributes += value.bytes.has_value();
    }

    void setBox(const FragmentBox& box) {
        Bytes bytes;
        for (const double side : box.box) putFixed(bytes, side);
        database_.put("INSERT OR REPLACE INTO boxes VALUES(?,?,?)", {box.fragment, bytes});
    }

    void setCount(const FragmentCounts& counted) {
        const Line& line = state_.line(counted.field);
        Bytes bytes;
        for (const auto& [value, count] : counted.counts) {
            putNumber(bytes, value);
            putNumber(bytes, count);
        }
        database_.put("INSERT OR REPLACE INTO counts VALUES(?,?,?,?,?)",
                      {line.id, counted.fragment, line.versionOf(counted.fragment, line.present), bytes});
    }

    void setEntry(const NamedBytes& entry) {
        survey_.entries -= has("SELECT 1 FROM entries WHERE name = ?", {entry.name});
        if (entry.bytes)
            database_.put("INSERT OR REPLACE INTO entries VALUES(?,?,?)", {entry.name, *entry.bytes});
        else
            database_.run("DELETE FROM entries WHERE name = ?", {entry.name});
        survey_.entries += entry.bytes.has_value();
    }

    void save(Line& line) {
        database_.run("DELETE FROM bases WHERE field = ?", {line.id});
        database_.run("DELETE FROM summaries WHERE field = ?", {line.id});
        line.base = FragmentSet();
        line.anchor = line.present;
    }

    void removeEmptiedUpdates() {
        for (const UpdateId update : emptied_) {
            const auto has = [&](const Line& line) {
                const auto step = std::ranges::lower_bound(line.steps, update, {}, &Line::Step::update);
                return step != line.steps.end() && step->update == update;
            };
            if (std::ranges::any_of(state_.lines, has)) continue;
            database_.run("DELETE FROM updates WHERE id = ?", {update});
            database_.run("DELETE FROM actions WHERE id = ?", {update});
            const auto row = std::ranges::lower_bound(state_.updates, update, {}, &StoreState::Update::id);
            if (row != state_.updates.end() && row->id == update) state_.updates.erase(row);
        }
    }

    void putLine(std::int64_t id) {
        const auto line = std::ranges::find(state_.lines, id, &Line::id);
        database_.put("INSERT OR REPLACE INTO fields VALUES(?,?,?,?,?,?,?,?,?,?)",
                      {line->id, line->name, line->width, static_cast<int>(line->origin), line->version(line->present),
                       line->version(line->anchor), line->steps.size(), line->attributes, line->base.encode()});
    }

    StoreState& state_;
    Sqlite& database_;
    SurveyRow& survey_ = state_.survey;
    std::set<std::int64_t> touched_;            // lines
    std::set<UpdateId> emptied_;                // updates that lost a step
    std::vector<std::uint32_t> with_, without_; // fragments whose base was set or removed
};

} // namespace

Committed carryOut(const Commit& commit, StoreState& state) { return Committing(state).carryOut(commit); }

} // namespace corvane
