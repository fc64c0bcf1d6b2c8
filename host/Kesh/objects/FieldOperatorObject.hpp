// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/Selectors.hpp"
#include "Kesh/objects/VCreationPreferences.hpp"
#include "Kesh/objects/VObject.hpp"

#include <string>
#include <utility>
#include <vector>

namespace Kesh {

/// Base of modules that work on a field, selected by a parameter. The parameter is also an output: the field after the
/// work is the same one, so others connect to it here.
class FieldOperatorObject : public VObject {
public:
    using Provided = Fiber::Field;

    /// The integer is the expert level of the field parameter; `own` are the parameters after it.
    FieldOperatorObject(const std::string& name, const std::string& fieldParameter, int expertLevel,
                        const Holdfast::StrongPtr<VCreationPreferences>& preferences, const ParameterTable& own = {});

    /// The parameters of this base.
    static ParameterTable parameters(const std::string& fieldParameter, int expertLevel = 0);

    /// Also when the selected field's data changed since.
    bool must_update(const VRequest& request, double precision) override;

protected:
    bool unsychronized_update(VRequest& request, double precision) override;

    /// Before the work; may prepare the request.
    virtual void preFieldOperation(VRequest& /*request*/) {}

    /// After the work, with the fields whose data it changed and where they stand.
    using Produced =
        std::vector<std::pair<Holdfast::StrongPtr<Fiber::Representation>, Holdfast::StrongPtr<Fiber::Field>>>;
    virtual void postFieldOperation(const VRequest& /*request*/, const Produced& /*produced*/) {}

    /// The work on the selected field, which exists. May throw.
    virtual void operate(VRequest& request, Fiber::Representation& representation, const std::string& fieldName,
                         const Holdfast::StrongPtr<Fiber::Field>& field) = 0;

    Fiber::FieldSelector selectedField(const VRequest& request) const { return field_.get(*request.pool); }

private:
    TypedSlot<Fiber::FieldSelector> field_;
};

} // namespace Kesh
