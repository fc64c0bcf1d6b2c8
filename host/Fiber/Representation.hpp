// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/HistoryIndex.hpp"

#include <map>
#include <set>
#include <string>

namespace Fiber {

/// The fields on the vertices of a grid, by name. Its age is that of the last field that came or went.
class Representation : public Holdfast::Managed, public Holdfast::Ageable {
public:
    /// Empty when there is no field of exactly this name.
    Holdfast::StrongPtr<FieldID> findFieldID(const std::string& name) const;
    Holdfast::StrongPtr<Field> findField(const Holdfast::StrongPtr<FieldID>& id) const;

    /// Both steps in one; the null field when there is none.
    Holdfast::StrongPtr<Field> findField(const std::string& name) const;

    /// The identifier of the field of this name, existing or to come.
    Holdfast::StrongPtr<FieldID> makeFieldID(const std::string& name);

    /// Puts a field in under the name, in the place of one that may be there. When it throws, nothing has changed.
    void makeField(const Holdfast::StrongPtr<FieldID>& id, const Holdfast::StrongPtr<Field>& data);

    /// Nothing happens when there is none.
    void removeField(const std::string& name);

    std::size_t numberOfFields() const { return fields_.size(); }

    /// Of the fields that are no steps of histories, of which there may be thousands.
    const std::set<std::string>& fieldNames() const { return names_; }

    /// Which of the fields are steps of histories.
    HistoryIndex& histories() { return histories_; }

private:
    struct Entry {
        Holdfast::StrongPtr<FieldID> id;
        Holdfast::StrongPtr<Field> field;
    };
    std::map<std::string, Entry> fields_;
    std::set<std::string> names_; // of those that are no steps
    HistoryIndex histories_;      // of the others
};

} // namespace Fiber
