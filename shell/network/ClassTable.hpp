// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/editing/EditField.hpp"
#include "network/ClassRules.hpp"

namespace corvane {

inline const std::string ClassTableType = "ClassTable"; ///< in a network

/// Edits classes and the flags beside them by rules, in one pass and one step of each field's history: parameter
/// `rules`, action `assign` (a new stroke does the same), output `tally`. What is under the brush is edited; without a
/// brush, everything.
///
/// All that a rule asks for and what it writes is looked up in the values as they were, and all fields are changed or
/// none is. A point counts as one that was edited when a rule fitted it.
class ClassTable : public Kesh::EditField {
public:
    explicit ClassTable(const std::string& name);

protected:
    bool wantsFieldOperation(const Kesh::VRequest& request, Fiber::Representation& representation,
                             const std::string& fieldName, const FieldPtr& field) override;
    std::string FieldOperation(Kesh::VRequest& request, const FieldPtr& field,
                               Fiber::Representation& representation) override;

    /// Not asked for: this editor goes over several fields together.
    ArrayPtr modifyFragment(const Kesh::VRequest&, Fiber::Field&, const FragmentPtr&, std::span<const std::uint32_t>,
                            Changes&, const ArrayPtr&) override {
        return nullptr;
    }

    std::string maker() const override { return ClassTableType; }

private:
    Kesh::TypedSlot<Kesh::Action> assign_;
    Kesh::TypedSlot<ClassRules> rules_;
    Kesh::TypedSlot<ClassTally> tally_;
};

} // namespace corvane
