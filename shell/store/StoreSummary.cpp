// SPDX-License-Identifier: Apache-2.0
// Summaries: what all changes of a fragment up to one of them come to. They are shortcuts for reading, made outside of
// commits; what is said elsewhere holds without them.
#include "store/StoreState.hpp"

#include <algorithm>

namespace corvane {

void StoreState::noteChange(Line& line, std::uint32_t fragment) {
    const auto every = static_cast<std::uint32_t>(std::max(options_.changesPerSummary, 1));
    // Not all fragments at the same step.
    if ((++line.timesChanged(fragment) + fragment) % every == 0) due_.insert({line.id, fragment});
}

void StoreState::tidy() {
    if (!due_.empty()) {
        writing([&] {
            SqliteTransaction transaction(database());
            for (const auto& [id, fragment] : std::exchange(due_, {})) {
                const auto line = std::ranges::find(lines, id, &Line::id);
                if (line != lines.end()) summarise(*line, fragment);
            }
            transaction.commit();
            keepCommit();
        });
    }
    writing([&] { database().run("PRAGMA wal_checkpoint(PASSIVE)"); });
}

void StoreState::summarise(const Line& line, std::uint32_t fragment) {
    const auto way = line.way(fragment, line.anchor, std::max(line.anchor, line.present));
    if (way.empty()) return;
    try {
        const auto sum = sumOf({line.name, fragment, line.width}, legsFromOrigin(line, fragment, line.present));
        // At a step that changed the fragment, so that it goes with that step.
        database().put("INSERT OR REPLACE INTO summaries VALUES(?,?,?,?,?)",
                       {line.id, fragment, way.back().step, sum->encode()});
    } catch (const SqliteFailure& failure) {
        if (!failure.isDamage()) throw;
    } catch (const Failure&) {
        // Whoever reads the damaged fragment is told.
    }
}

/// The last summary up to a place. One that cannot be read is no loss.
std::optional<StoreState::StoredLeg> StoreState::summaryBefore(const Line& line, std::uint32_t fragment,
                                                               std::size_t to) const {
    constexpr std::size_t FewLegs = 4; // which are read sooner than a summary is looked for
    if (to <= line.anchor || line.way(fragment, line.anchor, to).size() <= FewLegs) return std::nullopt;
    try {
        auto rows = database().query("SELECT * FROM summaries WHERE field = ? AND fragment = ? AND step > ? AND "
                                     "step <= ? ORDER BY step DESC LIMIT 1",
                                     {line.id, fragment, line.version(line.anchor), line.version(to)});
        if (!rows.next() || !rows.isSound() || line.placeOf(rows.number(2)).value_or(0) <= line.anchor)
            return std::nullopt;
        const auto bytes = rows.bytes(3);
        return StoredLeg{{bytes.begin(), bytes.end()}, rows.number(2), FragmentChange::Direction::Forward};
    } catch (const SqliteFailure& failure) {
        if (!failure.isDamage()) throw;
        return std::nullopt;
    }
}

} // namespace corvane
