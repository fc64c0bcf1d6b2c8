// SPDX-License-Identifier: Apache-2.0
#include "plugin/FindLibrary.hpp"

#include "base/Failure.hpp"

#include <fmt/format.h>

#include <filesystem>
#include <vector>

namespace corvane {

std::string findLibrary(const std::string& file, const std::string& installed, const std::string& what,
                        const std::string& advice) {
    const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    std::vector<std::string> places;
    for (const std::string& relative : {std::string(), std::string("../plugins"), installed}) {
        const auto place = (folder / relative / file).lexically_normal();
        if (std::filesystem::exists(place)) return place.string();
        places.push_back(place.string());
    }
    throw Failure(fmt::format("{} was not found; looked for {}. {}", what, fmt::join(places, ", "), advice));
}

} // namespace corvane
