// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "network/NetworkFile.hpp"
#include "session/Workbench.hpp"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace corvane::test {

/// What can be seen of a survey that is edited, by value.
struct Seen {
    std::vector<std::uint8_t> classes, mask;
    std::vector<std::pair<std::uint64_t, bool>> data, maskHistory; ///< points of each step, and whether it is done

    bool operator==(const Seen&) const = default;
};

inline std::vector<std::pair<std::uint64_t, bool>> stepsOf(const HistoryList& list) {
    std::vector<std::pair<std::uint64_t, bool>> steps;
    for (int i = 0; i < list.size(); ++i)
        steps.emplace_back((*list.steps)[static_cast<std::size_t>(i)]->points, i < list.position);
    return steps;
}

inline Seen seen(const WorkbenchState& state) {
    Seen found;
    for (const auto& [number, array] : *state.classes) {
        const auto values = Fiber::arrayOf<std::uint8_t>(array->getData());
        found.classes.insert(found.classes.end(), values->values().begin(), values->values().end());
        const auto selected = state.selected->find(number);
        if (selected == state.selected->end()) {
            found.mask.resize(found.classes.size());
            continue;
        }
        const auto mask = Fiber::arrayOf<std::uint8_t>(selected->second->getData());
        for (const std::uint8_t entry : mask->values()) found.mask.push_back(entry != 0);
    }
    found.data = stepsOf(state.data);
    found.maskHistory = stepsOf(state.maskHistory);
    return found;
}

/// A copy of the survey, edited as the record says by another network and opened again.
inline Seen replayed(const std::shared_ptr<const Session>& session, const std::string& original,
                     const std::string& record) {
    const std::filesystem::path path = original;
    const std::string copy = path.parent_path() / ("copy-" + path.filename().string());
    std::filesystem::copy_file(path, copy, std::filesystem::copy_options::overwrite_existing);
    EditStore::remove(copy + ".edits");
    {
        const EditedSurvey edited = session->openToEdit(copy);
        Network network(edited.survey);
        NetworkHooks hooks;
        hooks.acted = [&] { edited.keeper->commit("{}"); };
        NetworkFile(record, "record").run(network, hooks);
    }
    return seen(Workbench(session, copy).state());
}

} // namespace corvane::test
