// SPDX-License-Identifier: Apache-2.0
// PointCloudHistogram: counts the points of a region by their class, with minimum, maximum and mean of a second
// quantity per class. The whole data set is counted when asked; a box, the mask and the volume under the brush at every
// request.
#include "Fiber/FragmentBox.hpp"
#include "Kesh/catalogue/ModuleRegistration.hpp"
#include "Kesh/objects/FieldOperatorObject.hpp"
#include "Kesh/objects/VActionNotifier.hpp"
#include "Kesh/objects/VStateCreatorBase.hpp"
#include "Kesh/values/BoxValue.hpp"
#include "Kesh/values/LabelSet.hpp"
#include "Kesh/values/VHistogram.hpp"
#include "ScopedCount.hpp"

#include <fmt/format.h>

#include <charconv>
#include <optional>

namespace {

using Holdfast::StrongPtr;
using Kesh::VHistogram;

const std::string WholeDataset = "WholeDataset", Region = "Region", Mask = "Mask", Brush = "Brush"; // scopes

constexpr char ScopeHelp[] =
    "Which points to count: the whole dataset, the connected Bounding Box, the current editing mask, or the volume "
    "under the brush. COST IS NOT COMPARABLE BETWEEN THEM. Region, Mask and Brush touch only the fragments their "
    "region intersects, which is what makes repeated verification affordable. WholeDataset must traverse the ENTIRE "
    "survey: free only where a dataset carries stored per-fragment histograms, which is a new mechanism that no "
    "dataset provides yet - so today it is always a full pass, and on a multi-terabyte survey that is hours to days, "
    "not seconds. Prefer Region for anything you intend to repeat, such as a before/after check around an edit.";
constexpr char ComputeHelp[] =
    "Recompute now. Always needed for the WholeDataset scope, which is far too expensive to run unasked - see the "
    "scope parameter for the magnitude - and which marks itself out of date rather than recounting when its data "
    "changes. The other scopes recompute whenever something requests them, so connecting this object's histogram "
    "output to a field editor's histogram input, or to a Legend/Histogram display, makes them refresh after each edit "
    "without this button. THE FIRST PRESS ON A COLD GRID PUBLISHES NOTHING, and that is not a fault: WholeDataset "
    "loads asynchronously, so on data that is not yet resident the first pass starts the loading and has nothing to "
    "count. Press again once it has arrived. Anything that already traversed the grid removes the effect - a render, "
    "a Region count, or simply an earlier press - so it is a first-compute effect and not a property of any scope or "
    "of having no display. An empty result rather than a partial one is deliberate: a caller who forgets to check "
    "completeness would read a partial count as a finished one, whereas nothing cannot be mistaken for an answer.";
constexpr char SecondaryHelp[] =
    "Optional second quantity to summarize per bin, as minimum, maximum and mean. Use \"Z\" for elevation, which is "
    "what distinguishes points at water level from the same class code sitting at ground level. Z is read from "
    "Positions, so spell it \"Z\" - \"Positions.z\" and \"Positions\" are NOT accepted. Available on the Region, Mask "
    "and Brush scopes only: WholeDataset deliberately does not cross-tabulate, because a second field must then be "
    "read for every fragment - a full extra pass over data that may be 10 TB. Counts alone can be served from cached "
    "per-fragment attributes WHERE A DATASET PROVIDES THEM, without touching point data - but that is a new mechanism "
    "and no dataset carries one yet, so in practice a WholeDataset count is itself a full traversal. See the scope "
    "parameter for what that costs.";
constexpr char BoxHelp[] =
    "Any bounding box, not necessarily the active tile - connect a SingleTile RegionOfInterest, a BoxOfInterest, or "
    "set one directly to count over an arbitrary sub-region.";
constexpr char HistogramHelp[] = "The resulting histogram: one count per occurring value, with the per-bin statistics "
                                 "of the secondary quantity when one is given.";

constexpr char Field[] = "inputfield";
const Kesh::ParameterTable Own{
    {.name = "brush", .initial = Kesh::Brush(), .expertLevel = 3},
    {.name = "Bounding Box", .initial = Kesh::BoxPtr(), .help = BoxHelp, .expertLevel = 4},
    {.name = "labels", .initial = Kesh::LabelSet(), .expertLevel = 2},
    {.name = "scope", .initial = Kesh::Enum({"WholeDataset", "Region", "Mask", "Brush"}, 1), .help = ScopeHelp},
    {.name = "compute", .initial = Kesh::Action(), .help = ComputeHelp},
    {.name = "maskfield",
     .initial = "mask",
     .help = "Name of the mask field written by the editor, used by the Mask scope.",
     .expertLevel = 5},
    {.name = "secondaryfield", .initial = "", .help = SecondaryHelp, .expertLevel = 1},
    {.name = "histogram", .initial = VHistogram(), .help = HistogramHelp, .isOutput = true},
};

const Kesh::ModuleIntroduction Introduction{
    .domain = "LIDAR",
    .descriptions = {"Reports how many points carry each label value in the chosen region, and optionally the minimum, "
                     "maximum and mean of a second quantity such as elevation within each of those groups - which is "
                     "what separates points that merely share a class code into the distinct populations they "
                     "actually are.",
                     "Count the values of a label field over the whole dataset, a bounding box, the current editing "
                     "mask, or the volume under the brush."},
    .buildDate = "Sep 11 2026",
    .name = "PointCloudHistogram",
    .sourceFile = __FILE__,
    .category = "Compute",
    .integer = -1000,
    .parameters = Kesh::joined(Kesh::FieldOperatorObject::parameters(Field), Own),
};

constexpr char OutOfDate[] =
    "Histogram is out of date: the data changed since it was counted. Press compute to refresh.";
constexpr std::chrono::microseconds WholeDatasetLimit(30'000'000);
constexpr int RecountsUntilTold = 3;
constexpr std::size_t ListedValues = 32;

/// The shortest text that reads back as the same number.
std::string shortest(double number) {
    std::array<char, 32> text;
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr};
}

std::string cornerText(const Sextant::PhysicalSpace::point& p) { return fmt::format("{{{},{},{}}}", p.x, p.y, p.z); }

std::string regionText(const std::string& scope, const Kesh::BoxPtr& box) {
    if (scope != Region) return "<not applicable to this scope; Bounding Box ignored>";
    return box ? cornerText(box->minimum) + ";" + cornerText(box->maximum) : "<none connected>";
}

std::string noteOfMissing(const std::string& secondary) {
    return "\n  NOTE: no statistics for \"" + secondary +
           "\". Most likely the scope: WholeDataset does not cross-tabulate at all, by design - use Region, Mask or "
           "Brush. Otherwise the field was not found (elevation is spelled \"Z\", not \"Positions.z\"), is not of a "
           "numeric type, or - Brush only - is not resident, since that scope never loads from disc.";
}

std::string line(const VHistogram& histogram, std::size_t i, const Kesh::LabelSet& labels) {
    const std::uint32_t value = histogram.value(i);
    std::string text = "\n  " + std::to_string(value);
    const Kesh::Label* label = labels.find(static_cast<int>(value));
    if (label && !label->name.empty()) text += " (" + label->name + ")";
    text += ": " + std::to_string(histogram.counts[i]);
    if (!histogram.hasStatistics()) return text;
    return text + "  " + histogram.secondaryName + " " + shortest(histogram.minimum[i]) + " .. " +
           shortest(histogram.maximum[i]) + ", mean " + shortest(histogram.mean(i));
}

/// `secondary` is the quantity that was asked for.
std::string reportOf(const VHistogram& histogram, const std::string& secondary, const Kesh::LabelSet& labels) {
    if (!histogram.isConsistent()) return "no histogram";
    std::string text = histogram.title + ": " + std::to_string(histogram.total()) + " points";
    if (!histogram.complete) text += " (INCOMPLETE - some fragments were not available)";
    if (!secondary.empty() && histogram.secondaryName.empty()) text += noteOfMissing(secondary);
    const std::size_t listed = std::min(histogram.size(), ListedValues);
    for (std::size_t i = 0; i < listed; ++i) text += line(histogram, i, labels);
    if (histogram.size() > listed)
        text += "\n  ... and " + std::to_string(histogram.size() - listed) +
                " further values (the full histogram is on the output slot)";
    return text;
}

VHistogram converted(const Fiber::FieldHistogramBase& counted, const std::type_info& type) {
    VHistogram histogram;
    histogram.setValues(type, counted.occurringValues());
    histogram.counts = counted.occurringCounts();
    histogram.minimum = counted.occurringMinimum();
    histogram.maximum = counted.occurringMaximum();
    histogram.sum = counted.occurringSum();
    histogram.secondaryName = counted.secondaryName();
    return histogram;
}

class PointCloudHistogram : public Kesh::FieldOperatorObject {
public:
    using Provided = VHistogram;

    PointCloudHistogram(const std::string& name, const StrongPtr<Kesh::VCreationPreferences>& preferences)
        : FieldOperatorObject(name, Field, 0, preferences, Own) {
        Kesh::Brush::connectBrushAsInput(*this, *brush_.slot(), "Brush", preferences);
    }

    /// The whole data set is looked at again when what was counted changed; the other scopes are counted every time.
    bool must_update(const Kesh::VRequest& request, double precision) override {
        return FieldOperatorObject::must_update(request, precision) || scopeOf(request) != WholeDataset ||
               dataChanged(request);
    }

private:
    using FieldPtr = StrongPtr<Fiber::Field>;

    struct HistogramState {
        std::optional<VHistogram> previous; // its title is the scope
        std::string fieldName;              // that it counted
        bool toldOutOfDate = false;
        int unchangedRecounts = 0;                 // one after the other
        Age counted = Holdfast::Ageable::Ooooold;  // when that was
        Age recorded = Holdfast::Ageable::Ooooold; // the same, until the object has taken that age
        std::vector<std::string> tracked;          // fields whose data decide whether the histogram is out of date
    };

    /// What one update works on.
    struct Input {
        const Kesh::VRequest& request;
        Fiber::Representation& representation;
        const std::string& fieldName;
        const FieldPtr& field;
        std::string scope, secondary;
        Kesh::BoxPtr box;
        bool pressed;
    };

    void operate(Kesh::VRequest& request, Fiber::Representation& representation, const std::string& fieldName,
                 const FieldPtr& field) override {
        const Kesh::ValuePool& pool = *request.pool;
        const Input input{request,          representation,
                          fieldName,        field,
                          scopeOf(request), secondaryField_.get(pool),
                          box_.get(pool),   hasChanged(*compute_, pool)};
        if (dropOther(input)) {
            setHistogram(request, VHistogram());
            clearStatus(pool);
        }
        if (input.scope == WholeDataset && !input.pressed) return warnWhenOutOfDate(request);
        states_.myState(pool)->toldOutOfDate = false; // a count that fails takes the place of the warning
        const FieldPtr positions = representation.findField(Fiber::PositionsName);
        if (!positions) throw std::runtime_error("No Positions available for this representation.");
        if (const auto counted = input.scope == WholeDataset ? countAll(input) : countIn(input, positions))
            publish(input, *counted);
    }

    std::string scopeOf(const Kesh::VRequest& request) const {
        const std::string selected = scope_.get(*request.pool).selectedCase();
        return selected.empty() ? Region : selected;
    }

    /// A histogram never outlives a change of what it describes. True when there was one.
    bool dropOther(const Input& input) {
        const auto state = states_.myState(*input.request.pool);
        if (!state->previous) return false;
        if (state->previous->title == input.scope && state->fieldName == input.fieldName) return false;
        *state = HistogramState();
        return true;
    }

    /// The counts stay, marked; the warning stands until the next count.
    void warnWhenOutOfDate(const Kesh::VRequest& request) {
        if (!dataChanged(request)) return;
        const auto state = states_.myState(*request.pool);
        if (std::exchange(state->toldOutOfDate, true)) return;
        setStatusWarning(*request.pool, OutOfDate);
        VHistogram old = *state->previous;
        old.outOfDate = true;
        setHistogram(request, old);
    }

    /// Whether a tracked field changed since it was counted.
    bool dataChanged(const Kesh::VRequest& request) {
        const auto representation = selectedField(request).representation();
        const auto state = states_.myState(*request.pool);
        return representation && std::ranges::any_of(state->tracked, [&](const std::string& name) {
                   const auto field = representation->findField(name);
                   return field && field->getMostRecentCreatorAge() > state->counted;
               });
    }

    /// Nothing when no fragment could be counted.
    std::optional<VHistogram> countAll(const Input& input) {
        Fiber::HistogramPolicy policy(WholeDatasetLimit);
        policy.load = policy.store = true;
        policy.report = [](const std::string& text, std::uint64_t done, std::uint64_t total) {
            return Kesh::VActionNotifier::reportProgress(done, total, text);
        };
        StrongPtr<Fiber::FieldHistogramBase> counted =
            Fiber::FieldHistogram<unsigned char>::retrieve(*input.field, input.fieldName, policy);
        if (!counted) counted = Fiber::FieldHistogram<unsigned short>::retrieve(*input.field, input.fieldName, policy);
        if (!counted) {
            setStatusInfo(*input.request.pool, reportOf(VHistogram(), "", {}));
            return std::nullopt;
        }
        VHistogram histogram = converted(*counted, input.field->getElementType());
        histogram.complete = Fiber::FieldHistogramBase::isComplete(*input.field, input.fieldName);
        return histogram;
    }

    std::optional<VHistogram> countIn(const Input& input, const FieldPtr& positions) {
        const Kesh::Brush brush = brush_.get(*input.request.pool);
        const auto region = regionOf(input, positions, brush);
        if (!region) return std::nullopt;
        const Kesh::CountTask task{input.representation,
                                   input.field,
                                   positions,
                                   *region,
                                   input.secondary,
                                   [&](std::uint64_t done, std::uint64_t total) {
                                       return Kesh::VActionNotifier::reportProgress(done, total,
                                                                                    "Counting " + input.fieldName);
                                   }};
        Kesh::ScopedCount counted = Kesh::countScope<unsigned char>(task);
        if (!counted.histogram) counted = Kesh::countScope<unsigned short>(task);
        if (!counted.histogram) throw std::runtime_error("Field type is not a supported label type.");
        VHistogram histogram = converted(*counted.histogram, input.field->getElementType());
        histogram.complete = counted.complete;
        histogram.fragments = input.secondary.empty() ? 0 : counted.fragments;
        histogram.withoutSecondary = counted.withoutSecondary;
        if (counted.withoutSecondary > 0)
            histogram.region = fmt::format(" -- SECONDARY FIELD UNAVAILABLE on {} fragments", counted.withoutSecondary);
        return histogram;
    }

    /// Null, with the reason as status, when there is nothing to count in.
    std::unique_ptr<Kesh::CountRegion> regionOf(const Input& input, const FieldPtr& positions,
                                                const Kesh::Brush& brush) {
        const Kesh::ValuePool& pool = *input.request.pool;
        if (input.scope == Mask) return Kesh::regionInMask(input.representation.findField(maskField_.get(pool)));
        if (input.scope == Region) {
            if (!input.box || input.box->empty())
                throw std::runtime_error("The Region scope needs a Bounding Box connected.");
            return Kesh::regionInBox(positions, *input.box);
        }
        const Sextant::BoundingBox extent = brush.computeBoundingBoxInWorldSpace();
        if (!brush_->connected() && !brush)
            setStatusInfo(pool, "No brush to count under.");
        else if (extent.empty())
            setStatusInfo(pool, "Brush has no world-space extent.");
        else
            return Kesh::regionUnderBrush(positions, brush, extent);
        return nullptr;
    }

    void publish(const Input& input, VHistogram histogram) {
        const Kesh::ValuePool& pool = *input.request.pool;
        histogram.title = input.scope;
        histogram.region = regionText(input.scope, input.box) + histogram.region;
        if (remember(input, histogram) == RecountsUntilTold)
            Kesh::Vprintf(100, "%s: three recounts in a row gave the same histogram.\n", BaseName().c_str());
        setHistogram(input.request, histogram);
        raiseAge(pool, std::exchange(states_.myState(pool)->recorded, Holdfast::Ageable::Ooooold));
        setStatusInfo(pool, reportOf(histogram, input.secondary, labels_.get(pool)));
    }

    /// Returns how many recounts in a row have changed nothing; they are counted anew when it is enough to tell.
    int remember(const Input& input, const VHistogram& histogram) {
        const auto state = states_.myState(*input.request.pool);
        const bool unchanged = !input.pressed && state->previous && state->previous->sameContentAs(histogram);
        const int recounts = unchanged ? state->unchangedRecounts + 1 : 0;
        state->unchangedRecounts = recounts % RecountsUntilTold;
        state->fieldName = input.fieldName;
        state->tracked = trackedBy(input);
        state->counted = state->recorded = input.request.time;
        state->toldOutOfDate = false;
        state->previous = histogram;
        return recounts;
    }

    std::vector<std::string> trackedBy(const Input& input) const {
        std::vector<std::string> tracked{input.fieldName, Fiber::PositionsName};
        if (input.scope == Mask) tracked.push_back(maskField_.get(*input.request.pool));
        if (!input.secondary.empty() && !Kesh::isHeight(input.secondary)) tracked.push_back(input.secondary);
        return tracked;
    }

    void setHistogram(const Kesh::VRequest& request, const VHistogram& histogram) {
        histogram_->parameter()->setValue(*request.pool, Holdfast::create<Kesh::VValue<VHistogram>>(histogram),
                                          request.time);
    }

    Kesh::TypedSlot<Kesh::Brush> brush_{*this, "brush"};
    Kesh::TypedSlot<Kesh::BoxPtr> box_{*this, "Bounding Box"};
    Kesh::TypedSlot<Kesh::LabelSet> labels_{*this, "labels"};
    Kesh::TypedSlot<Kesh::Enum> scope_{*this, "scope"};
    Kesh::TypedSlot<Kesh::Action> compute_{*this, "compute"};
    Kesh::TypedSlot<std::string> maskField_{*this, "maskfield"};
    Kesh::TypedSlot<std::string> secondaryField_{*this, "secondaryfield"};
    Kesh::TypedSlot<VHistogram> histogram_{*this, "histogram"};
    Kesh::VStateCreatorBase<HistogramState> states_;
};

const Kesh::FieldModuleRegistration<PointCloudHistogram, Fiber::GridSelector, Fiber::FieldSelector, Kesh::VTime,
                                    Kesh::Brush, Kesh::BoxPtr, Kesh::LabelSet, Kesh::Enum, StrongPtr<Kesh::VAction>,
                                    std::string, VHistogram>
    registration(Introduction);

} // namespace
