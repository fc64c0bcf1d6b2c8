// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/LabelSet.hpp"
#include "network/Network.hpp"
#include "network/Stroke.hpp"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace corvane {

/// What a stroke does to the selection (the mask).
enum class Selecting { Add, Remove, Replace };

/// Which of the points under a stroke may be selected. What is hidden is not touched: it limits the stroke and is
/// recorded with it.
struct SelectionRule {
    std::optional<std::vector<int>> fromClasses{}; ///< only points of these; none: of any class
    std::vector<int> hiddenClasses{};
    std::vector<int> hiddenReturns{};               ///< return numbers
    std::optional<std::array<double, 2>> heights{}; ///< only points between them, both included; infinite: open

    bool operator==(const SelectionRule&) const = default;
};

/// The stroke with what the rule says as limits of its own, besides those that it has. `field` holds the classes.
Stroke limitedBy(const Stroke& stroke, const SelectionRule& rule, const std::string& field);

/// A stroke that meets what the rule hides, wherever it is; none where nothing is hidden.
std::optional<Stroke> strokeOfHidden(const SelectionRule& rule, const std::string& field);

/// Editing through a mask by the catalogue's module, as actions of a network: objects "points" (the field), "lasso" (a
/// brush) and "editor" (Edit/MaskedLabels). Each call is one action or two, which are recorded, and throws as
/// Network::update does.
class MaskedEdits {
public:
    /// Names of the objects.
    static constexpr char Points[] = "points", Lasso[] = "lasso", Editor[] = "editor";

    /// Builds the network. The labels are the editor's at first; a class without a label that is flagged "editable"
    /// cannot be selected.
    MaskedEdits(Network& network, std::string field, const Kesh::LabelSet& labels);

    /// Replace is two actions: the mask goes, with its history, and the stroke selects.
    void select(const Stroke& stroke, Selecting how, const SelectionRule& rule);

    /// Writes the class into what is selected; the mask goes. It must have a label.
    void assign(int value);

    void clear();
    void undo();
    void redo();
    void undoMask();
    void redoMask();

    /// Labels for the editor, which are recorded with the next action; with `keep` they are an action, and stored with
    /// the field, too.
    void setLabels(const Kesh::LabelSet& labels, bool keep);
    const Kesh::LabelSet& labels() const { return labels_; }

private:
    static constexpr char Labels[] = "labels";
    static std::string path(const char* object, const char* slot);
    void press(const char* action);

    Network& network_;
    std::string field_;
    Kesh::LabelSet labels_;
    bool relabelled_ = false; // since the network was built
};

} // namespace corvane
