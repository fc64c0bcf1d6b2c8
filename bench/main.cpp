// SPDX-License-Identifier: Apache-2.0
// Measures hot paths beside what the machine allows and what a user would pick instead. Prints, and judges nothing.
#include "Paths.hpp"
#include "base/Failure.hpp"

#include <algorithm>
#include <cstdio>
#include <fmt/format.h>
#include <string>
#include <vector>

namespace {

struct Path {
    const char* name;
    void (*run)();
};

constexpr Path Paths[] = {
    {"count", corvane::bench::benchCount},         {"decode", corvane::bench::benchDecode},
    {"histogram", corvane::bench::benchHistogram}, {"history", corvane::bench::benchHistory},
    {"lasso", corvane::bench::benchLasso},         {"laz", corvane::bench::benchLaz},
    {"mask", corvane::bench::benchMask},           {"open", corvane::bench::benchOpen},
    {"picture", corvane::bench::benchPicture},     {"render", corvane::bench::benchRender},
    {"save", corvane::bench::benchSave},           {"statistics", corvane::bench::benchStatistics},
    {"store", corvane::bench::benchStore},         {"window", corvane::bench::benchWindow},
    {"workbench", corvane::bench::benchWorkbench}};

} // namespace

int main(int count, char** arguments) {
    const std::vector<std::string> wanted(arguments + 1, arguments + count);
    bool any = false;
    try {
        for (const Path& path : Paths) {
            if (!wanted.empty() && std::find(wanted.begin(), wanted.end(), path.name) == wanted.end()) continue;
            path.run();
            any = true;
        }
    } catch (const corvane::Failure& failure) {
        fmt::print(stderr, "{}\n", failure.what());
        return 1;
    }
    if (any) return 0;
    std::string names;
    for (const Path& path : Paths) names += fmt::format(" [{}]", path.name);
    fmt::print(stderr, "usage: corvane_bench{}; without a name, all of them.\n", names);
    return 2;
}
