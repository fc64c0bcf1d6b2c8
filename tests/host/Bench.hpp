// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/FragmentBox.hpp"
#include "Kesh/editing/EditField.hpp"

#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

namespace corvane::test {

using Holdfast::Ageable;
using Holdfast::StrongPtr;
using Point = Sextant::PhysicalSpace::point;

constexpr std::size_t Plenty = 1 << 20;           // bytes
inline const std::string Name = "Classification"; // of the field that is edited

/// Makes given values, counts how often, and fails on demand.
template <class T>
class Source : public Fiber::ArraySource {
public:
    explicit Source(std::vector<T> values) : values_(std::move(values)) {}
    StrongPtr<Fiber::MemBase> make() const override {
        ++loads;
        if (fails) throw std::runtime_error("the drive is gone");
        return Holdfast::create<Fiber::MemArray<T>>(
            typename Holdfast::Chunk<T>::Values(values_.begin(), values_.end()));
    }

    mutable std::atomic<int> loads = 0;
    std::atomic<bool> fails = false;

private:
    std::vector<T> values_;
};

template <class T>
StrongPtr<Fiber::CreativeArrayBase> arrayFrom(const StrongPtr<Source<T>>& source, std::size_t size,
                                              const StrongPtr<Holdfast::Cache>& cache) {
    return Holdfast::create<Fiber::CreativeArrayBase>(typeid(T), size, source, cache);
}

/// Values that no source makes again.
template <class T>
StrongPtr<Fiber::CreativeArrayBase> arrayOf(const std::vector<T>& values) {
    return Holdfast::create<Fiber::CreativeArrayBase>(Source<T>(values).make());
}

template <class T>
void set(const StrongPtr<Kesh::ValuePool>& pool, const Kesh::VObject& object, const std::string& name, T value) {
    const auto slot = object.findSlot(name);
    ASSERT_TRUE(slot) << name;
    slot->parameter()->setValue(*pool, Holdfast::create<Kesh::VValue<T>>(std::move(value)), Ageable::nextTime());
}

/// A grid in fragments, and a user who sets, presses, draws and updates.
class Workbench {
protected:
    Workbench() {
        Kesh::ensureValueCreator<int>();
        Kesh::ensureValueCreator<StrongPtr<Kesh::VAction>>();
        Kesh::ensureValueCreator<Fiber::FieldSelector>();
        Kesh::ensureValueCreator<Kesh::Brush>();
    }

    /// Adds a field whose fragments are made on demand.
    template <class T>
    void field(const std::string& name, const std::vector<std::vector<T>>& fragments) {
        const auto added = Holdfast::create<Fiber::Field>(typeid(T));
        loads_[name].clear();
        for (const auto& values : fragments) {
            const auto source = Holdfast::create<Source<T>>(values);
            const auto number = static_cast<std::uint32_t>(loads_[name].size());
            added->setPersistentData(arrayFrom(source, values.size(), cache), id(number));
            loads_[name].push_back([source] { return source->loads.load(); });
        }
        vertices().makeField(vertices().makeFieldID(name), added);
    }

    /// Positions: vertex i of fragment f stands at x = 10 f + i.
    void positions(std::size_t fragments, std::size_t verticesEach) {
        std::vector<std::vector<Point>> points(fragments);
        for (std::size_t f = 0; f < fragments; ++f)
            for (std::size_t i = 0; i < verticesEach; ++i) points[f].emplace_back(double(10 * f + i), 0, 0);
        field(Fiber::PositionsName, points);
    }

    /// How often the fragments of a field were made.
    std::vector<int> loads(const std::string& name) const {
        std::vector<int> counts;
        for (const auto& count : loads_.at(name)) counts.push_back(count());
        return counts;
    }

    template <class T>
    std::vector<T> values(const std::string& name = "Classification") {
        std::vector<T> all;
        find(name).iterate([&](const auto&, const auto& array) {
            if (!array) return true;
            const auto part = Fiber::arrayOf<T>(array->getData());
            if (!part) throw std::logic_error(name + " is of another type");
            all.insert(all.end(), part->values().begin(), part->values().end());
            return true;
        });
        return all;
    }

    void press(const Kesh::VObject& object, const std::string& name) {
        set(pool, object, name, Holdfast::create<Kesh::VAction>());
    }

    /// Draws a stroke around what has x from `from` to before `to`, seen from above.
    void draw(const Kesh::VObject& editor, double from, double to) {
        const auto view = Sextant::View::fromAbove({Point(-100), Point(100)});
        std::vector<glm::dvec2> corners;
        for (const Point& corner : {Point(from, -1, 0), Point(to, -1, 0), Point(to, 1, 0), Point(from, 1, 0)})
            corners.emplace_back(view.project(corner));
        set(pool, editor, "brush", Kesh::Brush(view, Sextant::Outline(corners)));
    }

    /// The status line after an update.
    std::string update(Kesh::VObject& object) {
        updated = object.update(Kesh::VRequest(pool));
        EXPECT_EQ(updated, object.status(*pool).grade != Kesh::StatusGrade::Error);
        return object.status(*pool).text;
    }

    Fiber::FieldSelector selector(const std::string& fieldName) const { return {{bundle, 0, "points"}, fieldName}; }
    Fiber::Representation& vertices() { return (*(*bundle)[0])["points"]->vertices(); }
    Fiber::Field& find(const std::string& name) { return *vertices().findField(name); }
    static StrongPtr<Fiber::FragmentID> id(std::uint32_t number) { return Holdfast::create<Fiber::FragmentID>(number); }

    StrongPtr<Kesh::ValuePool> pool = Holdfast::create<Kesh::ValuePool>();
    StrongPtr<Holdfast::Cache> cache = Holdfast::create<Holdfast::Cache>(Plenty);
    StrongPtr<Fiber::Bundle> bundle = Holdfast::create<Fiber::Bundle>();
    bool updated = false;

private:
    std::map<std::string, std::vector<std::function<int()>>> loads_;
};

/// One for each test. gtest makes and destroys its fixtures on one thread only; others take a Workbench of their own.
class Bench : public testing::Test, protected Workbench {};

} // namespace corvane::test
