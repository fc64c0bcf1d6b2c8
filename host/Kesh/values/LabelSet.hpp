// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/VValue.hpp"
#include "Sextant/Colour.hpp"

#include <map>
#include <optional>
#include <string>
#include <unordered_map>

namespace Kesh {

/// What a value of a classification field is called, and how it is shown. Texts are UTF-8.
struct Label {
    int value = 0; ///< also the key under which a set keeps the label
    Sextant::rgba_float_t colour;
    std::string name;
    std::string text;                            ///< another one, for whoever has a use for it
    std::unordered_map<std::string, bool> flags; ///< e.g. "editable"

    bool operator==(const Label&) const = default;
};

/// Labels by value, and selections: under a name, which of the labels is chosen.
///
/// Rules: a value has at most one label; what is chosen is a label of the set, and its value is not negative.
class LabelSet {
public:
    using Labels = std::map<int, Label>;

    static constexpr int NothingSelected = -1;

    /// In ascending order of their values.
    Labels::const_iterator begin() const { return labels_.begin(); }
    Labels::const_iterator end() const { return labels_.end(); }
    Labels::iterator begin() { return labels_.begin(); }
    Labels::iterator end() { return labels_.end(); }
    std::size_t size() const { return labels_.size(); }
    bool empty() const { return labels_.empty(); }

    /// Null when the value has no label.
    const Label* find(int value) const;

    /// The label of the value, a new one if it has none.
    Label& operator[](int value);

    /// Makes sure that there is a selection of that name. True when there was none.
    bool addSelection(const std::string& name);

    /// The value that is chosen, `NothingSelected` when none is or there is no such selection.
    int getSelectedValue(const std::string& name) const;

    /// Chooses a label. False, with nothing changed, when there is no such selection or no such label.
    bool select(const std::string& name, int value);

    /// What is chosen, by the name of the selection; empty where nothing is.
    const std::map<std::string, std::optional<int>>& selections() const { return selections_; }

    bool operator==(const LabelSet&) const = default;

private:
    Labels labels_;
    std::map<std::string, std::optional<int>> selections_;
};

/// The text form is JSON:
///
///     {"labels": [{"value": 2, "name": "Ground", "text": "", "colour": [0.5, 0.3, 0, 1], "flags": {"editable":
///     true}}],
///      "selections": {"Assign": 2}}
///
/// "color": "#rrggbb" may stand for an opaque colour. Of a label only the value must be given; a selection of null has
/// nothing chosen. Anything else that is unknown, given twice or of another type is refused with its place. Bytes that
/// are not UTF-8 are written as U+FFFD.
KESH_VALUE_TYPE(LabelSet)

} // namespace Kesh
