// SPDX-License-Identifier: Apache-2.0
#include "plugin/FindLibrary.hpp"

#include "VInitialization.hpp"
#include "base/Failure.hpp"

#include <dlfcn.h>
#include <filesystem>
#include <fmt/format.h>
#include <vector>

namespace corvane {
namespace {

/// Of the host's library that loads plug-ins.
std::filesystem::path folderOfHost() {
    Dl_info host;
    if (dladdr(reinterpret_cast<void*>(&VInitialization::initPlugin), &host) == 0) return {};
    return std::filesystem::absolute(host.dli_fname).parent_path();
}

} // namespace

std::string findLibrary(const std::string& file, const std::string& what, const std::string& advice) {
    const auto folder = folderOfHost();
    std::vector<std::string> places;
    for (const char* relative : {"", "plugins", "../plugins"}) {
        const auto place = (folder / relative / file).lexically_normal();
        if (std::filesystem::exists(place)) return place.string();
        places.push_back(place.string());
    }
    throw Failure(fmt::format("{} was not found; looked for {}. {}", what, fmt::join(places, ", "), advice));
}

} // namespace corvane
