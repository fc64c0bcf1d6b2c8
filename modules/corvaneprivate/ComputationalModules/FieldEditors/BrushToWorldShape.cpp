// SPDX-License-Identifier: Apache-2.0
// BrushToWorldShape: turns the outline of a brush into a closed line in world space, at a depth of the view in which
// the brush was drawn.
#include "Fiber/LineSet.hpp"
#include "Kesh/catalogue/BrushInputCreator.hpp"
#include "Kesh/catalogue/ModuleRegistration.hpp"
#include "Kesh/objects/VFilter.hpp"

#include <numeric>

namespace Kesh {

using Holdfast::StrongPtr;

namespace {

constexpr char Shape[] = "shape", Input[] = "brush", ViewDepth[] = "viewdepth";

const ParameterTable Own{
    {.name = Input, .initial = Brush(), .help = "The stroke whose outline becomes the shape."},
    {.name = ViewDepth,
     .initial = 0.5,
     .help = "Where the shape is placed along the view: 0 on the near plane, 1 on the far plane."},
};

const ModuleIntroduction Introduction{
    .domain = "",
    .descriptions = {"Construct a 3D shape from a Brush such as a Lasso drawn on screen."},
    .buildDate = "Sep  8 2026",
    .name = "", // that of the file
    .sourceFile = __FILE__,
    .category = "Compute",
    .integer = -1000,
    .parameters = joined(GridProviderObject::parameters(Shape), Own),
};

} // namespace

class ProvideBrushAsShape : public VFilter<Brush, ProvideBrushAsShape, Fiber::Grid> {
public:
    ProvideBrushAsShape(const std::string& name, const StrongPtr<VCreationPreferences>& preferences)
        : VFilter(name, 0, preferences, Shape, Input, Own) {}

    static void connectInput(VObject& object, VSlot& input, const StrongPtr<VCreationPreferences>& preferences) {
        const auto offered =
            Holdfast::create<VCreationPreferences>(VCreationPreferences::named("default").get(), preferences.get());
        Brush::connectBrushAsInput(object, input, "Brush", offered);
    }

    /// Nothing for an outline of fewer than two points.
    Fiber::GridSelector filter(const Brush& brush, const VRequest& request) {
        const auto outline = brush.getBrushInWorldSpace(viewDepth_.get(*request.pool));
        if (outline.size() < 2) return {};
        Fiber::LineSet::Indices indices(outline.size() + 1);
        std::iota(indices.begin(), indices.end() - 1, 0u);
        indices.back() = 0; // closed
        const auto bundle = Holdfast::create<Fiber::Bundle>();
        Fiber::LineSet((*(*bundle)[0.0])[BaseName()], {outline.begin(), outline.end()}, std::move(indices));
        return {bundle, 0.0, BaseName()};
    }

private:
    TypedSlot<double> viewDepth_{*this, ViewDepth};
};

namespace {

const ModuleRegistration<ProvideBrushAsShape, CorvaneCreator<ProvideBrushAsShape, AcceptBrush>,
                         BrushInputCreator<ProvideBrushAsShape, Fiber::Grid>, Brush, Fiber::GridSelector>
    registration(Introduction);

} // namespace

} // namespace Kesh
