// SPDX-License-Identifier: Apache-2.0
#include "Comparison.hpp"
#include "Paths.hpp"
#include "TemporarySurvey.hpp"
#include "session/Workbench.hpp"

#include <array>
#include <fmt/format.h>
#include <memory>
#include <vector>

namespace corvane::bench {
namespace {

constexpr std::uint64_t Points = 1'000; // few, so that the steps are what costs
constexpr std::array Sizes{10, 1'000, 10'000};

/// A survey of which the history has so many steps, and one more that is undone.
class EditedForLong {
public:
    explicit EditedForLong(int steps) : survey_(Points) {
        bench_ = std::make_unique<Workbench>(std::make_shared<const Session>(SessionOptions{}), survey_.path());
        for (int step = 0; step < steps; ++step) edit();
        editAndUndo();
    }
    void editAndUndo() {
        edit();
        bench_->undo();
    }
    void goBackAndForth() {
        const int steps = bench_->state().data.position;
        bench_->goToStep(Which::Data, 0);
        bench_->goToStep(Which::Data, steps);
    }

private:
    void edit() {
        constexpr double far = 1e7;
        const Stroke everything{.view = Stroke::FromAbove{},
                                .outline = Stroke::Rectangle{{-far, -far}, {far, far}},
                                .depth = {},
                                .limit = nullptr};
        bench_->selectAndAssign(everything, {}, 2 + bench_->state().data.position % 2);
    }

    TemporarySurvey survey_;
    std::unique_ptr<Workbench> bench_;
};

} // namespace

void benchWorkbench() {
    std::vector<std::unique_ptr<EditedForLong>> edited;
    for (const int steps : Sizes) edited.push_back(std::make_unique<EditedForLong>(steps));
    Comparison comparison("a stroke that is applied, and its undo, with what is kept and listed of them", "1",
                          Comparison::BoundBy::Disc);
    for (std::size_t i = 0; i < Sizes.size(); ++i)
        comparison.add(fmt::format("at {} steps", Sizes[i]), 1, {}, [&, i] { edited[i]->editAndUndo(); });
    comparison.print();
    fmt::print("\n");

    Comparison jumps("to the beginning of the history and back", "steps", Comparison::BoundBy::Disc);
    for (std::size_t i = 0; i < Sizes.size(); ++i)
        jumps.add(fmt::format("of {} steps", Sizes[i]), Sizes[i], {}, [&, i] { edited[i]->goBackAndForth(); });
    jumps.print();
}

} // namespace corvane::bench
