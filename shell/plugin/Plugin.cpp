// SPDX-License-Identifier: Apache-2.0
#include "plugin/Plugin.hpp"

#include "base/Failure.hpp"
#include "VInitialization.hpp"
#include "plugin/FindLibrary.hpp"

#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <fmt/format.h>

namespace corvane {
namespace {

/// The entry's name holds the date of the interface, so that plug-ins for another shell are not found.
constexpr char EntryPrefix[] = "CORV_API_2026_SEP_07__";
using Entry = bool (*)(VInitialization*);

} // namespace

Plugin::Plugin(const std::string& path) {
    // Before the plug-in brings OpenMP: its threads wait for work without taking the processor from those that read
    // ahead. Who has set this keeps it.
    setenv("OMP_WAIT_POLICY", "passive", 0);
    const auto absolute = std::filesystem::absolute(path); // a bare name would be searched for elsewhere
    library_ = dlopen(absolute.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library_) throw Failure(fmt::format("{}: cannot be loaded as a plug-in: {}.", path, dlerror()));
    const std::string symbol = EntryPrefix + absolute.stem().string();
    const auto entry = reinterpret_cast<Entry>(dlsym(library_, symbol.c_str()));
    VInitialization shell;
    if (entry && entry(&shell)) return;
    dlclose(library_);
    throw Failure(entry ? fmt::format("{}: was built against another version of the interface than this program's {}; "
                                      "build both together.",
                                      path, CorvInterfaceVersion)
                        : fmt::format("{}: is no plug-in for this program: it has no entry \"{}\".", path, symbol));
}

Plugin::~Plugin() { dlclose(library_); }

std::string findPlugin() {
    return findLibrary("CorvanePrivateFieldEditors.so", INSTALLED_PLUGINS, "The plug-in", "Name it with --plugin.");
}

} // namespace corvane
