// SPDX-License-Identifier: Apache-2.0
#include "network/ClassTable.hpp"

#include "Fiber/FragmentBox.hpp"
#include "Kesh/editing/VertexSelection.hpp"
#include "Kesh/objects/VActionNotifier.hpp"
#include "network/PointTree.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <stdexcept>

namespace corvane {
namespace {

using Holdfast::StrongPtr;
using FieldPtr = StrongPtr<Fiber::Field>;
using FragmentPtr = StrongPtr<Fiber::FragmentID>;
using ArrayPtr = StrongPtr<Fiber::CreativeArrayBase>;

const Kesh::ParameterTable Own{
    {.name = "assign", .initial = Kesh::Action(), .help = "Edits the points once."},
    {.name = "rules", .initial = ClassRules(), .help = "What becomes of which class; the first rule that fits counts."},
    {.name = "tally", .initial = ClassTally(), .help = "How many points each rule edited.", .isOutput = true},
};

/// One that an edit reads or writes, and what it will be exchanged with.
struct EditedField {
    std::string name;
    FieldPtr field, undo;
    bool written = false;
};

/// The values of a fragment, 8 or 16 bits wide, as they were.
class Values {
public:
    explicit Values(StrongPtr<const Fiber::MemBase> data) : data_(std::move(data)) {
        if (const auto bytes = Fiber::arrayOf<std::uint8_t>(data_)) bytes_ = bytes->values();
        if (const auto words = Fiber::arrayOf<std::uint16_t>(data_)) words_ = words->values();
    }
    std::size_t size() const { return std::max(bytes_.size(), words_.size()); }
    int operator[](std::size_t i) const { return words_.empty() ? bytes_[i] : words_[i]; }

private:
    StrongPtr<const Fiber::MemBase> data_;
    std::span<const std::uint8_t> bytes_;
    std::span<const std::uint16_t> words_;
};

/// One edit: goes over the fragments, and collects what is to take their places.
class Edit {
public:
    Edit(Fiber::Representation& representation, const FieldPtr& classes, const std::string& className,
         const ClassRules& rules, const Kesh::Brush* brush, Holdfast::Ageable::Age time)
        : representation_(representation), rules_(rules.rules), selection_(representation, brush), time_(time) {
        add(className, classes);
        for (const ClassRule& rule : rules_) {
            fields_[0].written |= rule.to.has_value();
            for (const auto& [name, value] : rule.with) flagField(name);
            for (const auto& [name, value] : rule.flags) {
                flagField(name).written = true;
                tally_.flags[name] = {};
            }
            brushes_.push_back(Kesh::Brush(rule.limit));
        }
        tally_.rules.resize(rules_.size());
        prepareTables();
    }

    std::vector<EditedField>& fields() { return fields_; }
    const ClassTally& tally() const { return tally_; }

    void modify(const FragmentPtr& fragment, std::size_t vertices) {
        const auto indices = selection_.of(fragment, vertices);
        if (indices.empty()) return;
        const std::vector<Values> values = valuesOf(fragment, vertices);
        sortIfManyAreNear(fragment);
        owners_.assign(vertices, NotSelected);
        for (const std::uint32_t i : indices) owners_[i] = Free;
        for (std::size_t rule = 0; rule < rules_.size();) rule = assignOwners(rule, fragment, vertices, values);
        write(fragment, values);
    }

private:
    static constexpr std::uint32_t NotSelected = ~std::uint32_t{0}, Free = NotSelected - 1;
    static constexpr int ManyLimits = 12; // below that sorting costs more than it saves

    /// Rules without a limit that follow each other, as a table: the first that fits, by class and by the values of the
    /// fields behind the class field, a bit each.
    struct Table {
        std::size_t end; ///< behind the last rule
        std::vector<std::uint32_t> first;
    };

    void add(const std::string& name, const FieldPtr& field) {
        fields_.push_back({name, field, Kesh::EditField::newUndoFieldFromPreviouslyModifiedFieldFragments(*field)});
    }

    EditedField& flagField(const std::string& name) {
        const auto known = std::ranges::find(fields_.begin() + 1, fields_.end(), name, &EditedField::name);
        if (known != fields_.end()) return *known;
        const auto field = representation_.findField(name);
        if (!field || field->getElementType() != typeid(std::uint8_t))
            throw std::runtime_error(fmt::format("The points have no flag \"{}\".", name));
        add(name, field);
        return fields_.back();
    }

    std::size_t bitOf(const std::string& flag) const {
        return static_cast<std::size_t>(std::ranges::find(fields_, flag, &EditedField::name) - fields_.begin()) - 1;
    }

    /// Whether a rule fits what stands in the fields.
    bool fits(const ClassRule& rule, int value, std::size_t bits) const {
        if (rule.from && !std::ranges::binary_search(*rule.from, value)) return false;
        return std::ranges::all_of(
            rule.with, [&](const auto& flag) { return (((bits >> bitOf(flag.first)) & 1) != 0) == flag.second; });
    }

    void prepareTables() {
        const bool wide = fields_[0].field->getElementType() == typeid(std::uint16_t);
        const std::size_t classes = wide ? 0x10000 : 0x100, states = std::size_t{1} << (fields_.size() - 1);
        tables_.resize(rules_.size());
        for (std::size_t begin = 0; begin < rules_.size(); ++begin) {
            if (rules_[begin].limit) continue;
            Table table{begin, std::vector<std::uint32_t>(classes * states, Free)};
            for (; table.end < rules_.size() && !rules_[table.end].limit; ++table.end)
                for (std::size_t entry = 0; entry < table.first.size(); ++entry)
                    if (table.first[entry] == Free &&
                        fits(rules_[table.end], static_cast<int>(entry / states), entry % states))
                        table.first[entry] = static_cast<std::uint32_t>(table.end);
            const std::size_t end = table.end;
            tables_[begin] = std::move(table);
            begin = end - 1;
        }
    }

    std::vector<Values> valuesOf(const FragmentPtr& fragment, std::size_t vertices) const {
        std::vector<Values> values;
        for (const EditedField& edited : fields_) {
            values.emplace_back(edited.field->getData(fragment));
            if (values.back().size() != vertices)
                throw std::runtime_error(fmt::format("Fragment {} has {} vertices but {} values of \"{}\".",
                                                     fragment->number(), vertices, values.back().size(), edited.name));
        }
        return values;
    }

    static std::size_t bitsAt(const std::vector<Values>& values, std::size_t i) {
        std::size_t bits = 0;
        for (std::size_t flag = 1; flag < values.size(); ++flag)
            bits |= std::size_t{values[flag][i] != 0} << (flag - 1);
        return bits;
    }

    /// Whether a rule has a limit that looks at positions alone.
    static bool looksAtPlaces(const Kesh::Brush& brush) {
        return brush && brush.readsPositions() && brush.fields().empty();
    }

    /// Where the boxes of many limits meet the fragment, each has few of its points.
    void sortIfManyAreNear(const FragmentPtr& fragment) {
        tree_.reset();
        const auto positions = representation_.findField(Fiber::PositionsName);
        if (std::ranges::count_if(brushes_, looksAtPlaces) < ManyLimits || !positions) return;
        const auto box = Fiber::getFragmentBBox(*positions, fragment);
        const auto near = std::ranges::count_if(brushes_, [&](const Kesh::Brush& brush) {
            return looksAtPlaces(brush) && brush.partOf(box) == Kesh::BoxPart::Some;
        });
        if (near < ManyLimits) return;
        const auto data = positions->getData(fragment);
        const auto points = Fiber::arrayOf<Sextant::PhysicalSpace::point>(data);
        if (!points) return;
        const auto isFinite = [](const auto& p) { return std::isfinite(p.x + p.y + p.z); };
        if (std::ranges::all_of(points->values(), isFinite)) tree_.emplace(points->values());
    }

    /// Gives points to this rule, or to the rules of a table that begins with it. Returns the rule that is next.
    std::size_t assignOwners(std::size_t rule, const FragmentPtr& fragment, std::size_t vertices,
                             const std::vector<Values>& values) {
        if (!rules_[rule].limit) {
            const Table& table = tables_[rule];
            const std::size_t states = std::size_t{1} << (fields_.size() - 1);
            for (std::size_t i = 0; i < vertices; ++i)
                if (owners_[i] == Free)
                    owners_[i] = table.first[static_cast<std::size_t>(values[0][i]) * states + bitsAt(values, i)];
            return table.end;
        }
        ClassTally::Rule& tally = tally_.rules[rule];
        std::optional<Kesh::VertexSelection> plain;
        std::span<const std::uint32_t> inside;
        if (tree_ && looksAtPlaces(brushes_[rule])) {
            tree_->select(brushes_[rule], inside_);
            inside = inside_;
        } else {
            plain.emplace(representation_, &brushes_[rule], Kesh::VertexSelection::Reading::Present);
            inside = plain->of(fragment, vertices);
        }
        for (const std::uint32_t i : inside) {
            if (owners_[i] == NotSelected) continue;
            ++tally.inside;
            if (!fits(rules_[rule], values[0][i], bitsAt(values, i))) continue;
            if (owners_[i] == Free)
                owners_[i] = static_cast<std::uint32_t>(rule);
            else
                ++tally.overlaps;
        }
        return rule + 1;
    }

    void write(const FragmentPtr& fragment, const std::vector<Values>& values) {
        std::vector<std::uint32_t> written;
        for (std::uint32_t i = 0; i < owners_.size(); ++i)
            if (owners_[i] < Free) written.push_back(i);
        changed_.assign(owners_.size(), false);
        for (std::size_t k = 0; k < fields_.size(); ++k)
            if (fields_[k].written) writeField(k, fragment, values[k], written);
        for (const std::uint32_t i : written) {
            ClassTally::Rule& tally = tally_.rules[owners_[i]];
            ++tally.edited;
            tally.changed += changed_[i];
            tally_.changed += changed_[i];
        }
    }

    /// What a rule makes of a field's value; none where it leaves it.
    std::optional<int> targetOf(const ClassRule& rule, std::size_t field) const {
        if (field == 0) return rule.to;
        const auto flag = rule.flags.find(fields_[field].name);
        return flag == rule.flags.end() ? std::nullopt : std::optional(flag->second ? 1 : 0);
    }

    void writeField(std::size_t k, const FragmentPtr& fragment, const Values& values,
                    const std::vector<std::uint32_t>& written) {
        std::vector<std::optional<int>> targets;
        for (const ClassRule& rule : rules_) targets.push_back(targetOf(rule, k));
        const auto differs = [&](std::uint32_t i) { return targets[owners_[i]].value_or(values[i]) != values[i]; };
        const auto first = std::ranges::find_if(written, differs);
        if (first == written.end()) return;
        const ArrayPtr copy = fields_[k].field->getCreator(fragment)->privateCopy();
        copy->touch(time_);
        std::uint64_t set = 0, all = 0;
        const auto writeTo = [&](auto target) {
            if (!target) return;
            const auto out = target->writableValues();
            for (const std::uint32_t i : std::span(first, written.end())) {
                if (!differs(i)) continue;
                out[i] = static_cast<std::remove_cvref_t<decltype(out[i])>>(*targets[owners_[i]]);
                changed_[i] = true;
                set += out[i] != 0;
                ++all;
            }
        };
        writeTo(copy->writableData<std::uint8_t>());
        writeTo(copy->writableData<std::uint16_t>());
        fields_[k].undo->setPersistentData(copy, fragment);
        if (k == 0) return;
        tally_.flags[fields_[k].name].set += set;
        tally_.flags[fields_[k].name].cleared += all - set;
    }

    Fiber::Representation& representation_;
    const std::vector<ClassRule>& rules_;
    Kesh::VertexSelection selection_;
    Holdfast::Ageable::Age time_;
    std::vector<EditedField> fields_;   // the classes first
    std::vector<Kesh::Brush> brushes_;  // of the rules' limits
    std::vector<Table> tables_;         // at the first of their rules
    std::vector<std::uint32_t> owners_; // the rule that a vertex of the fragment at hand belongs to
    std::vector<bool> changed_;
    std::optional<PointTree> tree_; // of the fragment at hand
    std::vector<std::uint32_t> inside_;
    ClassTally tally_;
};

/// A value that its field cannot hold is refused before anything happens.
void checkTargets(const ClassRules& rules, const Fiber::Field& classes) {
    const int largest = classes.getElementType() == typeid(std::uint16_t)  ? 0xFFFF
                        : classes.getElementType() == typeid(std::uint8_t) ? 0xFF
                                                                           : -1;
    if (largest < 0) throw std::runtime_error("Only fields of unsigned integers of 8 or 16 bits can be edited.");
    for (const ClassRule& rule : rules.rules)
        if (rule.to && *rule.to > largest)
            throw std::runtime_error(
                fmt::format("The value {} cannot be written: the field holds 0 to {}.", *rule.to, largest));
}

} // namespace

ClassTable::ClassTable(const std::string& name)
    : EditField(name, 0, nullptr, "labelfield", Own),
      assign_(*this, "assign"),
      rules_(*this, "rules"),
      tally_(*this, "tally") {}

bool ClassTable::wantsFieldOperation(const Kesh::VRequest& request, Fiber::Representation&, const std::string&,
                                     const FieldPtr&) {
    return hasChanged(*assign_, *request.pool) || brushSlot().ValueAge(*request.pool) > age(*request.pool);
}

std::string ClassTable::FieldOperation(Kesh::VRequest& request, const FieldPtr& field,
                                       Fiber::Representation& representation) {
    const ClassRules rules = rules_.get(*request.pool);
    checkTargets(rules, *field);
    const std::string className = selectedField(request).getFieldName();
    const auto brush = brushOf(request);
    Edit edit(representation, field, className, rules, brush ? &*brush : nullptr, request.time);
    std::uint64_t seen = 0;
    field->iterate([&](const FragmentPtr& fragment, const ArrayPtr& array) {
        if (!Kesh::VActionNotifier::reportProgress(seen++, field->fragments().size(), "Editing " + className))
            throw std::runtime_error("The edit was interrupted; nothing has been changed.");
        if (array) edit.modify(fragment, array->size());
        return true;
    });

    std::size_t stored = 0;
    for (EditedField& edited : edit.fields()) edited.field->exchange(*edited.undo);
    try {
        for (EditedField& edited : edit.fields()) {
            storeUndoInformation({request, dataHistory(), representation, edited.field, edited.name}, edited.undo,
                                 edit.tally().changed);
            ++stored;
        }
    } catch (...) { // steps that were stored are taken back, the others go
        for (std::size_t i = 0; i < edit.fields().size(); ++i) {
            EditedField& edited = edit.fields()[i];
            if (i >= stored)
                edited.field->exchange(*edited.undo);
            else if (!edited.undo->fragments().empty())
                Fiber::History(representation, edited.name).undo(*edited.field, request.time);
        }
        throw;
    }
    for (EditedField& edited : edit.fields())
        if (!edited.undo->fragments().empty()) edited.field->raiseAge(request.time);
    tally_->parameter()->setValue(*request.pool, Holdfast::create<Kesh::VValue<ClassTally>>(edit.tally()),
                                  request.time);
    return modificationReport(edit.tally().changed);
}

} // namespace corvane
