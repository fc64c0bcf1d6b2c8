// SPDX-License-Identifier: Apache-2.0
#include "geo/GeoLibrary.hpp"

#include "base/Failure.hpp"
#include "plugin/FindLibrary.hpp"

#include <dlfcn.h>
#include <fmt/format.h>

namespace corvane {
namespace {

/// It stays loaded: what it stands on cannot be unloaded.
const GeoFunctions& load(const std::string& purpose) {
    const std::string path = findLibrary(
        "CorvaneGeo.so",
        fmt::format("The library for coordinate systems and files of other programs, needed to {},", purpose),
        "Install the package corvane-geo, or build or install all of Corvane.");
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library)
        throw Failure(fmt::format("{}: cannot be loaded, which is needed to {}: {}. Install the package corvane-geo "
                                  "again.",
                                  path, purpose, dlerror()));
    if (void* entry = dlsym(library, GeoEntryName)) return reinterpret_cast<GeoEntry*>(entry)();
    throw Failure(fmt::format("{}: belongs to another version of this program, since it has no \"{}\"; install or "
                              "build both together.",
                              path, GeoEntryName));
}

} // namespace

const GeoFunctions& geoLibrary(const std::string& purpose) {
    static const GeoFunctions& functions = load(purpose); // a call that failed is made again the next time
    return functions;
}

} // namespace corvane
