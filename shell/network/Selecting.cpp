// SPDX-License-Identifier: Apache-2.0
#include "network/Selecting.hpp"

#include "base/Failure.hpp"
#include "limit/Limits.hpp"
#include "network/Objects.hpp"
#include "network/StrokeText.hpp"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <fmt/ranges.h>

namespace corvane {
namespace {

const std::string Assign = "Assign"; // selection of a label set
constexpr char EditorType[] = "Edit/MaskedLabels", ReturnNumber[] = "ReturnNumber";

bool contains(const std::vector<int>& values, int value) { return std::ranges::find(values, value) != values.end(); }

std::string quoted(const std::string& field) { return fmt::format("\"{}\"", field); }

/// What the classes must be, as an expression; empty: anything.
std::string classCondition(const SelectionRule& rule, const std::string& field) {
    if (!rule.fromClasses && rule.hiddenClasses.empty()) return "";
    if (!rule.fromClasses) return fmt::format("!({} in ({}))", quoted(field), fmt::join(rule.hiddenClasses, ", "));
    std::vector<int> taken;
    std::ranges::copy_if(*rule.fromClasses, std::back_inserter(taken),
                         [&](int value) { return !contains(rule.hiddenClasses, value); });
    if (taken.empty()) return quoted(field) + " < 0"; // none is
    return fmt::format("{} in ({})", quoted(field), fmt::join(taken, ", "));
}

} // namespace

Stroke limitedBy(const Stroke& stroke, const SelectionRule& rule, const std::string& field) {
    Stroke limited = asRecorded(stroke);
    std::vector<Kesh::LimitPtr> limits;
    if (stroke.limit) limits.push_back(stroke.limit);
    std::string condition = classCondition(rule, field);
    if (!rule.hiddenReturns.empty())
        condition += fmt::format("{}!({} in ({}))", condition.empty() ? "" : " && ", ReturnNumber,
                                 fmt::join(rule.hiddenReturns, ", "));
    if (!condition.empty()) limits.push_back(where(condition));
    if (rule.heights) limits.push_back(betweenHeights((*rule.heights)[0], (*rule.heights)[1]));
    if (limits.size() == 1)
        limited.limit = limits.front();
    else if (!limits.empty())
        limited.limit = allOf(std::move(limits));
    return limited;
}

std::optional<Stroke> strokeOfHidden(const SelectionRule& rule, const std::string& field) {
    std::vector<std::string> hidden;
    if (!rule.hiddenClasses.empty())
        hidden.push_back(fmt::format("{} in ({})", quoted(field), fmt::join(rule.hiddenClasses, ", ")));
    if (!rule.hiddenReturns.empty())
        hidden.push_back(fmt::format("{} in ({})", ReturnNumber, fmt::join(rule.hiddenReturns, ", ")));
    if (rule.heights && std::isfinite((*rule.heights)[0])) hidden.push_back(fmt::format("Z < {}", (*rule.heights)[0]));
    if (rule.heights && std::isfinite((*rule.heights)[1])) hidden.push_back(fmt::format("Z > {}", (*rule.heights)[1]));
    if (hidden.empty()) return std::nullopt;
    return allWithin(where(fmt::format("{}", fmt::join(hidden, " || "))));
}

MaskedEdits::MaskedEdits(Network& network, std::string field, const Kesh::LabelSet& labels)
    : network_(network), field_(std::move(field)), labels_(labels) {
    labels_.addSelection(Assign);
    network_.addObject(Points, FieldType);
    network_.set(path(Points, FieldObject::Name), field_);
    network_.addObject(Lasso, BrushType);
    network_.addObject(Editor, EditorType);
    network_.set(path(Editor, Labels), labels_);
    network_.connect(path(Points, "field"), path(Editor, "labelfield"));
    network_.connect(path(Lasso, BrushObject::Output), path(Editor, "brush"));
    network_.update();
}

std::string MaskedEdits::path(const char* object, const char* slot) { return fmt::format("{}.{}", object, slot); }

void MaskedEdits::press(const char* action) {
    network_.press(path(Editor, action));
    network_.update();
}

void MaskedEdits::select(const Stroke& stroke, Selecting how, const SelectionRule& rule) {
    const Stroke limited = limitedBy(stroke, rule, field_);
    brushOf(limited, network_.survey()); // throws before anything is done
    if (how == Selecting::Replace) clear();
    if (relabelled_) network_.set(path(Editor, Labels), labels_); // what is kept of a step does it by itself
    network_.draw(path(Lasso, BrushObject::Output), limited);
    if (how == Selecting::Remove) return press("unselect");
    network_.update();
}

void MaskedEdits::assign(int value) {
    if (!labels_.select(Assign, value)) throw UsageError(fmt::format("Class {} has no label.", value));
    network_.set(path(Editor, Labels), labels_);
    press("applySelection");
}

void MaskedEdits::clear() { press("unselectAll"); }
void MaskedEdits::undo() { press("undo"); }
void MaskedEdits::redo() { press("redo"); }
void MaskedEdits::undoMask() { press("undoMask"); }
void MaskedEdits::redoMask() { press("redoMask"); }

void MaskedEdits::setLabels(const Kesh::LabelSet& labels, bool keep) {
    Kesh::LabelSet known = labels;
    known.addSelection(Assign);
    if (known.find(labels_.getSelectedValue(Assign))) known.select(Assign, labels_.getSelectedValue(Assign));
    labels_ = std::move(known);
    relabelled_ = true;
    network_.set(path(Editor, Labels), labels_);
    if (!keep) return;
    network_.set(path(Points, FieldObject::Labels), labels);
    network_.update();
}

} // namespace corvane
