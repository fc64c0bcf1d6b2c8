// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/editing/EditField.hpp"
#include "network/ClassRules.hpp"
#include "survey/Survey.hpp"

#include <memory>

namespace corvane {

inline const std::string RestoreValuesType = "RestoreValues"; ///< in a network

/// Gives points the values back that they had before the first step of their field's history, or those that another
/// file of the same points has: parameter `values` (its name; empty: the history), action `restore` (a new stroke does
/// the same), output `tally`. What is under the brush is restored; without a brush, everything. It is a step as any
/// other edit.
///
/// The points of the other file are the same where they lie at the same place, up to the steps of the coordinates; one
/// under the brush that is not ends the edit, and nothing has changed.
class RestoreValues : public Kesh::EditField {
public:
    RestoreValues(const std::string& name, std::shared_ptr<const Survey> survey);

protected:
    bool wantsFieldOperation(const Kesh::VRequest& request, Fiber::Representation& representation,
                             const std::string& fieldName, const FieldPtr& field) override;
    std::string FieldOperation(Kesh::VRequest& request, const FieldPtr& field,
                               Fiber::Representation& representation) override;
    ArrayPtr modifyFragment(const Kesh::VRequest&, Fiber::Field&, const FragmentPtr&, std::span<const std::uint32_t>,
                            Changes&, const ArrayPtr&) override {
        return nullptr; // FieldOperation does it all
    }

    std::string maker() const override { return RestoreValuesType; }

private:
    std::shared_ptr<const Survey> survey_;
    Kesh::TypedSlot<Kesh::Action> restore_;
    Kesh::TypedSlot<std::string> values_;
    Kesh::TypedSlot<ClassTally> tally_;
};

} // namespace corvane
