// SPDX-License-Identifier: Apache-2.0
#include "Comparison.hpp"
#include "Fiber/History.hpp"
#include "Fiber/Selectors.hpp"
#include "Kesh/catalogue/VCreator.hpp"
#include "Paths.hpp"
#include "network/Objects.hpp"
#include "plugin/Plugin.hpp"

#include <array>
#include <fmt/format.h>
#include <memory>
#include <stdexcept>

namespace corvane::bench {
namespace {

using Holdfast::StrongPtr;

const std::string Name = "Classification";
constexpr std::size_t Vertices = 1'000; // few, so that the history is what costs
constexpr int Repeats = 1'000;          // so that the table's milliseconds are microseconds of one

/// An editor whose history is full.
class FullHistory {
public:
    explicit FullHistory(int steps) {
        const auto field = Holdfast::create<Fiber::Field>(typeid(std::uint8_t));
        const auto values = Holdfast::create<Fiber::MemArray<std::uint8_t>>(Vertices, std::uint8_t(2));
        field->setPersistentData(Holdfast::create<Fiber::CreativeArrayBase>(StrongPtr<Fiber::MemBase>(values)),
                                 Holdfast::create<Fiber::FragmentID>(0));
        Fiber::GridSelector grid;
        grid.bundle = Holdfast::create<Fiber::Bundle>();
        grid.gridName = "points";
        auto& vertices = (*(*grid.bundle)[0])["points"]->vertices();
        vertices.makeField(vertices.makeFieldID(Name), field);
        for (const auto& creator : Kesh::VCreatorBase::catalogue())
            if (creator->name() == "ModifyClassification") editor_ = creator->create("", nullptr);
        set("labelfield", Fiber::FieldSelector(grid, Name));
        set("undodepth", steps);
        set("from0", 2);
        set("newvalue", 2); // written, too
        for (int i = 0; i <= steps; ++i) act("assign");
        if (Fiber::History(vertices, Name).size() != steps) throw std::logic_error("The history is not full.");
    }
    ~FullHistory() { Kesh::VCreatorBase::deleteInstance(editor_); }
    FullHistory(const FullHistory&) = delete;
    FullHistory& operator=(const FullHistory&) = delete;

    void act(const char* action) {
        set(action, Holdfast::create<Kesh::VAction>());
        update();
    }
    void updateIdly() {
        set("newvalue", 2);
        update();
    }

private:
    template <class T>
    void set(const char* slot, T value) {
        editor_.lock()->findSlot(slot)->parameter()->setValue(
            *pool_, Holdfast::create<Kesh::VValue<T>>(std::move(value)), Holdfast::Ageable::nextTime());
    }
    void update() {
        if (!editor_.lock()->update(Kesh::VRequest(pool_))) throw std::logic_error("The editor failed.");
    }

    StrongPtr<Kesh::ValuePool> pool_ = Holdfast::create<Kesh::ValuePool>();
    Holdfast::WeakPtr<Kesh::VObject> editor_;
};

} // namespace

void benchHistory() {
    const Plugin plugin(findPlugin());
    registerShellTypes();
    constexpr std::array Sizes{10, 1'000, 10'000};
    std::vector<std::unique_ptr<FullHistory>> histories;
    for (const int steps : Sizes) histories.push_back(std::make_unique<FullHistory>(steps));
    const auto compare = [&](const std::string& title, const auto& once) {
        Comparison comparison(fmt::format("{} {}", Repeats, title), "1");
        for (std::size_t i = 0; i < Sizes.size(); ++i)
            comparison.add(fmt::format("at {} steps", Sizes[i]), Repeats, {}, [&, i] {
                for (int turn = 0; turn < Repeats; ++turn) once(*histories[i]);
            });
        comparison.print();
        fmt::print("\n");
    };
    compare("edits of a fragment of 1000 vertices", [](FullHistory& history) { history.act("assign"); });
    compare("undos, each with its redo", [](FullHistory& history) {
        history.act("undo");
        history.act("redo");
    });
    compare("updates that have nothing to do", [](FullHistory& history) { history.updateIdly(); });
}

} // namespace corvane::bench
