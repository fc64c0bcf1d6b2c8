// SPDX-License-Identifier: Apache-2.0
#include "ScopedCount.hpp"

#include "Fiber/FragmentBox.hpp"

#include <algorithm>
#include <glm/vector_relational.hpp>

namespace Kesh {

using Fiber::CreativeArrayBase;
using Fiber::Quantity;
using Holdfast::StrongPtr;
using Sextant::BoundingBox;
using DataPtr = StrongPtr<const Fiber::MemBase>;
using Point = Sextant::PhysicalSpace::point;
using Selection = CountRegion::Selection;

namespace {

/// Boxes that touch are not disjoint.
bool disjoint(const BoundingBox& a, const BoundingBox& b) {
    return glm::any(glm::lessThan(a.maximum, b.minimum)) || glm::any(glm::lessThan(b.maximum, a.minimum));
}

bool contains(const BoundingBox& outer, const BoundingBox& inner) {
    return glm::all(glm::lessThanEqual(outer.minimum, inner.minimum)) &&
           glm::all(glm::lessThanEqual(inner.maximum, outer.maximum));
}

/// Without a branch: whether a point is inside is not predictable along the border of the box.
void selectInside(const BoundingBox& box, std::span<const Point> points, std::vector<std::uint32_t>& indices) {
    const Point low = box.minimum, high = box.maximum;
    indices.resize(points.size() + 1);
    std::size_t selected = 0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const Point& p = points[i];
        indices[selected] = static_cast<std::uint32_t>(i);
        selected += static_cast<std::size_t>((p.x >= low.x) & (p.x <= high.x) & (p.y >= low.y) & (p.y <= high.y) &
                                             (p.z >= low.z) & (p.z <= high.z));
    }
    indices.resize(selected);
}

Selection selectionOf(const std::vector<std::uint32_t>& indices) {
    if (indices.empty()) return CountRegion::NoPoints{};
    return Fiber::IndexedPoints{indices};
}

class BoxRegion : public CountRegion {
public:
    BoxRegion(const StrongPtr<Fiber::Field>& positions, const BoundingBox& box) : positions_(positions), box_(box) {}

    Selection select(const FragmentPtr& fragment, CreativeArrayBase& array) override {
        // Positions whose box is not known yet are held, so that they are loaded once for the box and the selection.
        auto points = Fiber::knownFragmentBBox(*positions_, fragment) ? nullptr : array.getData();
        const BoundingBox box = Fiber::getFragmentBBox(*positions_, fragment);
        if (disjoint(box, box_)) return NoPoints{};
        if (contains(box_, box)) return Fiber::AllPoints{array.size()};
        if (!points) points = array.getData();
        selectInside(box_, Fiber::arrayOf<Point>(points)->values(), indices_);
        return selectionOf(indices_);
    }

    bool readsPositions(const FragmentPtr& fragment, bool heights) const override {
        const auto known = Fiber::knownFragmentBBox(*positions_, fragment);
        return !known || (!disjoint(*known, box_) && (heights || !contains(box_, *known)));
    }

private:
    StrongPtr<Fiber::Field> positions_;
    BoundingBox box_;
    std::vector<std::uint32_t> indices_;
};

class MaskRegion : public CountRegion {
public:
    explicit MaskRegion(const StrongPtr<Fiber::Field>& mask) : mask_(mask) {}

    Selection select(const FragmentPtr& fragment, CreativeArrayBase& positions) override {
        const auto array = mask_ ? mask_->getCreator(fragment) : nullptr;
        if (!array || array->getFiberType() != typeid(std::uint8_t) || array->size() != positions.size())
            return Unavailable{};
        if (array->knownZero()) return NoPoints{};
        entries_ = Fiber::arrayOf<std::uint8_t>(array->getData());
        const auto entries = entries_->values();
        if (std::ranges::all_of(entries, [](auto entry) { return entry == 0; })) return NoPoints{};
        return Fiber::MaskedPoints{entries};
    }

    bool readsPositions(const FragmentPtr& fragment, bool heights) const override {
        const auto array = mask_ ? mask_->getCreator(fragment) : nullptr;
        return heights && array && !array->knownZero();
    }

private:
    StrongPtr<Fiber::Field> mask_;
    StrongPtr<const Fiber::MemArray<std::uint8_t>> entries_;
};

class BrushRegion : public CountRegion {
public:
    BrushRegion(const StrongPtr<Fiber::Field>& positions, const Brush& brush, const BoundingBox& box)
        : positions_(positions), brush_(brush), box_(box) {}

    Selection select(const FragmentPtr& fragment, CreativeArrayBase& array) override {
        const auto points = Fiber::arrayOf<Point>(array.residentData());
        if (!points && !Fiber::knownFragmentBBox(*positions_, fragment)) return Unavailable{};
        const BoundingBox box = Fiber::getFragmentBBox(*positions_, fragment);
        if (disjoint(box, box_)) return NoPoints{};
        if (!points) return Unavailable{};
        switch (brush_.partOf(box)) {
        case Brush::Part::None:
            return NoPoints{};
        case Brush::Part::All:
            return Fiber::AllPoints{array.size()};
        case Brush::Part::Some:
            break;
        }
        indices_ = brush_.getSelection(points->chunk, {});
        return selectionOf(indices_);
    }

    bool readsPositions(const FragmentPtr&, bool) const override { return true; }
    bool loads() const override { return false; }

private:
    StrongPtr<Fiber::Field> positions_;
    const Brush& brush_;
    BoundingBox box_;
    std::vector<std::uint32_t> indices_;
};

/// The second quantity of one fragment after the other.
class SecondaryValues {
public:
    explicit SecondaryValues(const CountTask& task)
        : task_(task),
          isHeight_(Kesh::isHeight(task.secondary)),
          field_(isHeight_ ? task.positions : task.representation.findField(task.secondary)) {}

    bool wanted() const { return !task_.secondary.empty(); }
    bool isHeight() const { return isHeight_; }

    /// Valid until the next call. None when the fragment does not have one number for each of its points.
    Quantity of(const CountRegion::FragmentPtr& fragment, std::size_t points) {
        const auto array = field_ ? field_->getCreator(fragment) : nullptr;
        if (!array || array->size() != points) return {};
        data_ = task_.region.loads() ? array->getData() : array->residentData();
        if (!data_) return {};
        if (isHeight_) return heights(Fiber::arrayOf<Point>(data_)->values());
        if (const auto doubles = Fiber::arrayOf<double>(data_)) return {doubles->values().data()};
        return converted();
    }

private:
    static Quantity heights(std::span<const Point> points) { return {&points[0].z, sizeof(Point) / sizeof(double)}; }

    Quantity converted() {
        const bool numeric =
            Fiber::visitArray<std::uint8_t, std::int8_t, std::uint16_t, std::int16_t, std::uint32_t, std::int32_t,
                              std::uint64_t, std::int64_t, float>(*data_, [this](const auto& array) {
                converted_.resize(array.size());
                std::ranges::transform(array.values(), converted_.begin(), [](auto v) { return double(v); });
            });
        return numeric ? Quantity{converted_.data()} : Quantity();
    }

    const CountTask& task_;
    bool isHeight_;
    StrongPtr<Fiber::Field> field_;
    DataPtr data_;
    std::vector<double> converted_;
};

template <class T>
class Count {
public:
    explicit Count(const CountTask& task) : task_(task), secondary_(task) {}

    ScopedCount run() {
        task_.field->iterate([this](const auto& fragment, const auto& array) {
            if (!task_.report(visited_++, task_.field->fragments().size())) return result_.complete = false;
            readAhead(*fragment);
            if (array && !visit(fragment, *array)) result_.complete = false;
            return true;
        });
        result_.histogram = statistics_.result(summarised_ ? task_.secondary : "");
        return result_;
    }

private:
    /// False when the fragment cannot be counted.
    bool visit(const CountRegion::FragmentPtr& fragment, CreativeArrayBase& array) {
        const auto positions = task_.positions->getCreator(fragment);
        if (!positions || positions->getFiberType() != typeid(Point) || positions->size() != array.size()) return false;
        return std::visit([&](const auto& points) { return count(fragment, array, points); },
                          task_.region.select(fragment, *positions));
    }

    bool count(const CountRegion::FragmentPtr&, CreativeArrayBase&, CountRegion::Unavailable) { return false; }
    bool count(const CountRegion::FragmentPtr&, CreativeArrayBase&, CountRegion::NoPoints) { return true; }

    template <class Points>
    bool count(const CountRegion::FragmentPtr& fragment, CreativeArrayBase& array, const Points& points) {
        const auto values = Fiber::arrayOf<T>(task_.region.loads() ? array.getData() : array.residentData());
        if (!values) return false;
        const Quantity quantity = secondary_.wanted() ? secondary_.of(fragment, array.size()) : Quantity();
        ++result_.fragments;
        if (secondary_.wanted() && !quantity) ++result_.withoutSecondary;
        summarised_ = summarised_ || quantity;
        statistics_.add(values->values(), points, quantity);
        return true;
    }

    /// Positions are most of what is read. Those of the next fragment come while this one is counted.
    void readAhead(const Fiber::FragmentID& present) const {
        const auto* next = task_.region.loads() ? task_.positions->fragmentAfter(present) : nullptr;
        if (next && task_.region.readsPositions(next->id, secondary_.isHeight())) next->array->loadAhead();
    }

    const CountTask& task_;
    SecondaryValues secondary_;
    Fiber::ClassStatistics<T> statistics_;
    std::uint64_t visited_ = 0; // fragments
    bool summarised_ = false;
    ScopedCount result_;
};

} // namespace

bool isHeight(const std::string& secondary) { return secondary == "Z" || secondary == "z"; }

std::unique_ptr<CountRegion> regionInBox(const StrongPtr<Fiber::Field>& positions, const BoundingBox& box) {
    return std::make_unique<BoxRegion>(positions, box);
}

std::unique_ptr<CountRegion> regionInMask(const StrongPtr<Fiber::Field>& mask) {
    return std::make_unique<MaskRegion>(mask);
}

std::unique_ptr<CountRegion> regionUnderBrush(const StrongPtr<Fiber::Field>& positions, const Brush& brush,
                                              const BoundingBox& box) {
    return std::make_unique<BrushRegion>(positions, brush, box);
}

template <class T>
ScopedCount countScope(const CountTask& task) {
    return task.field->getElementType() == typeid(T) ? Count<T>(task).run() : ScopedCount();
}

template ScopedCount countScope<unsigned char>(const CountTask&);
template ScopedCount countScope<unsigned short>(const CountTask&);

} // namespace Kesh
