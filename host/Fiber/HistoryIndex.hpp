// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/Field.hpp"

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace Fiber {

/// The name of a field in a representation, as the representation knows it.
class FieldID : public Holdfast::Managed {
public:
    explicit FieldID(std::string name) : name_(std::move(name)) {}
    const std::string& name() const { return name_; }

private:
    std::string name_;
};

/// Where a step stands in a history. Kept as attributes of the step's field, which are what makes a field a step.
struct StepPlace {
    std::string_view fieldName; ///< whose history it is; as read, valid while the step's field lives
    std::uint64_t sequence = 0; ///< later steps have higher ones
    bool undone = false;        ///< on which side of the present it stands
};

/// Empty for a field that is no step.
std::optional<StepPlace> placeOf(Field& field) noexcept;
void setPlace(Field& field, const StepPlace& place);

/// The steps among the fields of a representation, history by history and in order, so that nobody has to search for
/// them. It says nothing that the places of the steps do not say, so it does not have to be stored.
class HistoryIndex {
public:
    struct Step {
        Holdfast::StrongPtr<FieldID> id; ///< of the step's field
        Holdfast::StrongPtr<Field> field;
        std::uint64_t sequence;

        const std::string& name() const { return id->name(); }
    };
    struct Steps {
        std::deque<Step> all; ///< those that are done, then those undone, each in their sequence
        std::size_t done = 0;
    };

    /// Nothing happens when the field is no step. When it throws, nothing has changed.
    void add(const Holdfast::StrongPtr<FieldID>& id, const Holdfast::StrongPtr<Field>& field);
    void remove(const Holdfast::StrongPtr<Field>& field) noexcept;

    /// Null when the history has no steps.
    Steps* find(std::string_view fieldName);

private:
    std::map<std::string, Steps, std::less<>> histories_; // by the name of the field; none is empty
};

} // namespace Fiber
