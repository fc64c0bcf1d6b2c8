// SPDX-License-Identifier: Apache-2.0
#include "plugin/Plugin.hpp"

#include "VInitialization.hpp"
#include "base/Failure.hpp"
#include "plugin/FindLibrary.hpp"

#include <dlfcn.h>
#include <filesystem>
#include <fmt/format.h>
#include <mutex>
#include <set>

namespace corvane {
namespace {

/// The entry's name holds the date of the interface, so that plug-ins for another shell are not found.
constexpr char EntryPrefix[] = "CORV_API_2026_SEP_07__";
using Entry = bool (*)(VInitialization*);

/// The files of the plug-ins that are loaded, once for each `Plugin`.
struct Loaded {
    std::mutex mutex;
    std::multiset<std::string> files;
};

Loaded& loaded() {
    static Loaded instance;
    return instance;
}

std::string nameOf(const std::string& file) { return std::filesystem::path(file).stem(); }

void checkNotElsewhere(const std::string& path, const std::string& file) {
    std::error_code error; // a file that is missing is complained of when it is loaded
    for (const std::string& other : loaded().files)
        if (nameOf(other) == nameOf(file) && other != file && !std::filesystem::equivalent(other, file, error))
            throw Failure(fmt::format("{}: cannot be loaded: the plug-in {} is loaded already, from {}; use that one.",
                                      path, nameOf(file), other));
}

/// Throws Failure.
void checkEntry(void* library, const std::string& path, const std::string& symbol) {
    const auto entry = reinterpret_cast<Entry>(dlsym(library, symbol.c_str()));
    if (!entry) throw Failure(fmt::format("{}: is no plug-in for this program: it has no entry \"{}\".", path, symbol));
    bool fits = false;
    VInitialization shell;
    try {
        fits = entry(&shell);
    } catch (const std::exception& problem) {
        throw Failure(fmt::format("{}: cannot be used: its entry failed: {}", path, problem.what()));
    } catch (...) {
        throw Failure(fmt::format("{}: cannot be used: its entry failed without saying why.", path));
    }
    if (!fits)
        throw Failure(fmt::format("{}: was built against another version of the interface than this program's {}; "
                                  "build both together.",
                                  path, CorvInterfaceVersion));
}

} // namespace

Plugin::Plugin(const std::string& path) : file_(std::filesystem::absolute(path)) { // a bare name is searched elsewhere
    const std::lock_guard lock(loaded().mutex);
    checkNotElsewhere(path, file_);
    library_ = dlopen(file_.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library_) throw Failure(fmt::format("{}: cannot be loaded as a plug-in: {}.", path, dlerror()));
    try {
        checkEntry(library_, path, EntryPrefix + nameOf(file_));
        loaded().files.insert(file_);
    } catch (...) { // an exception of the plug-in's own does not leave `checkEntry`
        dlclose(library_);
        throw;
    }
}

Plugin::~Plugin() {
    const std::lock_guard lock(loaded().mutex);
    loaded().files.erase(loaded().files.find(file_));
    dlclose(library_);
}

std::string findPlugin() {
    return findLibrary("CorvanePrivateFieldEditors.so", "The plug-in", "Name it with --plugin.");
}

} // namespace corvane
