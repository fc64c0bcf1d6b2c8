// SPDX-License-Identifier: Apache-2.0
// Reads all of a store, and tells what is damaged.
#include "base/Text.hpp"
#include "store/StoreState.hpp"

#include <fmt/format.h>

namespace corvane {
namespace {

class Checking {
public:
    explicit Checking(const StoreState& state) : state_(state), damage_(state.damage) {}

    std::vector<StoreDamage> all() {
        for (const Line& line : state_.lines) checkLine(line);
        checkTable("actions", "SELECT * FROM actions", static_cast<std::int64_t>(state_.updates.size()));
        checkTable("summaries", "SELECT * FROM summaries", {});
        checkTable("attributes", "SELECT * FROM attributes", {});
        checkTable("boxes", "SELECT * FROM boxes", {});
        checkTable("counts", "SELECT * FROM counts", {});
        checkTable("entries", "SELECT * FROM entries", {});
        return damage_;
    }

private:
    void checkLine(const Line& line) {
        for (const std::uint32_t fragment : line.base.numbers())
            checkLeg(line, fragment, Beginning, [&] { return state_.baseOf(line, fragment); });
        for (const auto& step : line.steps)
            for (const std::uint32_t fragment : step.fragments.numbers())
                checkLeg(line, fragment, step.id, [&] { return state_.changeOf(line, step.id, fragment); });
    }

    template <class Read>
    void checkLeg(const Line& line, std::uint32_t fragment, StepId step, Read read) {
        try {
            const StoreState::StoredLeg leg = {read(), step, FragmentChange::Direction::Forward};
            static_cast<void>(state_.decoded({line.name, fragment, line.width}, leg));
        } catch (const SqliteFailure& failure) {
            if (!failure.isDamage()) throw;
            damage_.push_back({line.name, step, fragment, failure.what()});
        } catch (const Failure& failure) {
            damage_.push_back({line.name, step, fragment, failure.what()});
        }
    }

    void checkTable(const char* name, const char* statement, std::optional<std::int64_t> expected) {
        std::int64_t rows = 0, unsound = 0;
        try {
            for (auto query = state_.database().query(statement); query.next(); ++rows) unsound += !query.isSound();
        } catch (const SqliteFailure& failure) {
            if (!failure.isDamage()) throw;
            ++unsound;
        }
        const std::int64_t missing = expected ? std::max<std::int64_t>(*expected - rows, 0) : 0;
        if (unsound + missing == 0) return;
        damage_.push_back({"", 0, std::nullopt,
                           fmt::format("{}: is damaged: {} of its {} cannot be read. Take a copy of it from before, if "
                                       "there is one.",
                                       state_.path(), unsound + missing, name)});
    }

    const StoreState& state_;
    std::vector<StoreDamage> damage_;
};

} // namespace

std::vector<StoreDamage> EditStore::check() const {
    const std::scoped_lock lock(state_->mutex);
    return Checking(*state_).all();
}

} // namespace corvane
