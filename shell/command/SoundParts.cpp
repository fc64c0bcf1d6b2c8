// SPDX-License-Identifier: Apache-2.0
#include "command/SoundParts.hpp"

#include <fmt/format.h>

namespace corvane {

void requireWhole(const LasFile& las) {
    if (!las.losses.empty())
        throw NotClean(fmt::format("{}: is damaged, and only what is sound of it was read; the warnings say what is "
                                   "missing.",
                                   las.file->path()));
}

bool hasSoundParts(const std::string& path) {
    try {
        return !LasFile::open(path, Reading::Sound).losses.empty();
    } catch (const Failure&) {
        return false;
    }
}

} // namespace corvane
