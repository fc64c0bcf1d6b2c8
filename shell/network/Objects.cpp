// SPDX-License-Identifier: Apache-2.0
#include "network/Objects.hpp"

#include "Kesh/values/LabelAttributes.hpp"
#include "network/ClassRules.hpp"

namespace corvane {

FieldObject::FieldObject(const std::string& name, std::shared_ptr<const Survey> survey)
    : VObject(name),
      survey_(std::move(survey)),
      fieldName_(*this, Name, ClassificationName),
      labels_(*this, Labels, {}),
      field_(*this, "field", {}) {
    registerOutput(field_.slot());
}

bool FieldObject::unsychronized_update(Kesh::VRequest& request, double) {
    const SurveyField& field = survey_->findField(fieldName_.get(*request.pool));
    const std::string& exact = field.name;
    survey_->expectField(field);
    const auto selector = survey_->selector(exact);
    if (hasChanged(*labels_, *request.pool))
        Kesh::storeLabelSet(labels_.get(*request.pool), *selector.field(), request.time);
    if (field_.get(*request.pool) == selector) return true;
    field_->parameter()->setValue(*request.pool, Holdfast::create<Kesh::VValue<Fiber::FieldSelector>>(selector),
                                  request.time);
    return true;
}

BrushObject::BrushObject(const std::string& name) : VObject(name), brush_(*this, Output, Kesh::Brush()) {
    registerOutput(brush_.slot());
}

void registerShellTypes() {
    Kesh::ensureValueCreator<std::string>();
    Kesh::ensureValueCreator<Fiber::FieldSelector>();
    Kesh::ensureValueCreator<Kesh::Brush>();
    Kesh::ensureValueCreator<Kesh::LabelSet>();
    Kesh::ensureValueCreator<ClassRules>();
    Kesh::ensureValueCreator<ClassTally>();
}

} // namespace corvane
