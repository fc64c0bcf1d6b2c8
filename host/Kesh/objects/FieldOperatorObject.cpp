// SPDX-License-Identifier: Apache-2.0
#include "Kesh/objects/FieldOperatorObject.hpp"

#include <fmt/format.h>

namespace Kesh {

FieldOperatorObject::FieldOperatorObject(const std::string& name, const std::string& fieldParameter, int expertLevel,
                                         const Holdfast::StrongPtr<VCreationPreferences>&, const ParameterTable& own)
    : VObject(name, joined(parameters(fieldParameter, expertLevel), own)), field_(*this, fieldParameter) {}

ParameterTable FieldOperatorObject::parameters(const std::string& fieldParameter, int expertLevel) {
    return {{.name = fieldParameter, .initial = Fiber::FieldSelector(), .expertLevel = expertLevel, .isOutput = true}};
}

bool FieldOperatorObject::must_update(const VRequest& request, double precision) {
    if (VObject::must_update(request, precision)) return true;
    const auto field = selectedField(request).field();
    return field && field->age() > age(*request.pool);
}

bool FieldOperatorObject::unsychronized_update(VRequest& request, double) {
    const Fiber::FieldSelector selected = selectedField(request);
    const auto field = selected.field();
    if (!field) {
        setStatusError(*request.pool,
                       selected.getFieldName().empty()
                           ? fmt::format("No field is selected; connect the input \"{}\" to one.", field_->name())
                           : fmt::format("There is no field \"{}\" on the grid \"{}\".", selected.getFieldName(),
                                         selected.gridName));
        return false;
    }
    const auto representation = selected.representation();
    preFieldOperation(request);
    operate(request, *representation, selected.getFieldName(), field);
    Produced produced;
    if (field->age() >= request.time) produced.emplace_back(representation, field);
    postFieldOperation(request, produced);
    return true;
}

} // namespace Kesh
