// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "las/FileChange.hpp"
#include "las/LasFile.hpp"

#include <memory>
#include <string>
#include <vector>

namespace corvane {

/// The same points in another point format.
struct FormatChange {
    std::uint8_t pointFormat;
    std::shared_ptr<const PointReader> points; ///< throws Failure for a point that does not fit the format
    FileChange change;                         ///< of the header
    std::vector<std::string> notices;          ///< what a reader may miss; sentences without the path
};

/// Carries all fields over: flags, angles and returns to where the format has them, extra bytes as they are; what the
/// format has in addition is zero. A format from 6 on makes the file version 1.4. Points that stand for those of
/// another format are taken as these, and the file is an ordinary one afterwards, also when that is the format. Throws
/// Failure when the format lacks what the points have.
FormatChange changeFormat(const LasFile& las, std::uint8_t pointFormat);

} // namespace corvane
