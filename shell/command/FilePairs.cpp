// SPDX-License-Identifier: Apache-2.0
#include "command/FilePairs.hpp"

#include "base/Failure.hpp"

#include <filesystem>
#include <fmt/format.h>

namespace corvane {

std::string tileName(const std::string& path) {
    const std::filesystem::path stem = std::filesystem::path(path).stem();
    return stem.extension() == ".copc" ? stem.stem().string() : stem.string();
}

std::map<std::string, std::string> surveysByTile(const std::vector<std::string>& paths, const std::string& suffix) {
    std::map<std::string, std::string> surveys;
    for (const std::string& path : paths) {
        std::string tile = tileName(path);
        if (tile.ends_with(suffix)) tile.resize(tile.size() - suffix.size());
        const auto [other, first] = surveys.emplace(std::move(tile), path);
        if (!first)
            throw UsageError(fmt::format("{} and {} have the same name, so it is not clear which one is meant; move "
                                         "one of them elsewhere.",
                                         other->second, path));
    }
    return surveys;
}

} // namespace corvane
