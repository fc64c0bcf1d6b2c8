// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/objects/VObject.hpp"
#include "survey/Survey.hpp"

#include <memory>
#include <string>

namespace corvane {

/// The shell's own object types in a network, beside those of the catalogue.
inline const std::string FieldType = "Field";
inline const std::string BrushType = "Brush";

/// Offers a field of the survey: parameter `name` (which field), output `field`. Labels that are set as the parameter
/// `labels` are stored with it.
class FieldObject : public Kesh::VObject {
public:
    FieldObject(const std::string& name, std::shared_ptr<const Survey> survey);

    static constexpr char Name[] = "name", Labels[] = "labels"; ///< the parameters

protected:
    bool unsychronized_update(Kesh::VRequest& request, double precision) override;

private:
    std::shared_ptr<const Survey> survey_;
    Kesh::TypedSlot<std::string> fieldName_;
    Kesh::TypedSlot<Kesh::LabelSet> labels_;
    Kesh::TypedSlot<Fiber::FieldSelector> field_;
};

/// Offers what is drawn: output `brush`.
class BrushObject : public Kesh::VObject {
public:
    explicit BrushObject(const std::string& name);

    static constexpr char Output[] = "brush";

protected:
    bool unsychronized_update(Kesh::VRequest&, double) override { return true; }

private:
    Kesh::TypedSlot<Kesh::Brush> brush_;
};

/// Registers the value types of these objects' parameters; before the first of them is made.
void registerShellTypes();

} // namespace corvane
