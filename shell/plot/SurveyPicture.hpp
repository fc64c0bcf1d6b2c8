// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/Watch.hpp"
#include "plot/Legends.hpp"
#include "plot/PageLayout.hpp"
#include "plot/PicturePage.hpp"
#include "survey/Survey.hpp"

#include <array>
#include <optional>

namespace corvane {

/// What to draw of a survey.
struct PictureTask {
    std::string by = "class";                    ///< as Colouring takes it
    std::optional<Slice> profile;                ///< none: from above
    Kesh::LimitPtr limit;                        ///< null: all points
    std::string region;                          ///< the limit in words, e.g. "inside a polygon"
    Kesh::LabelSet labels;                       ///< names and colours of the values
    std::optional<std::array<int, 2>> size{};    ///< of the page, pixels; none: as is good
    std::size_t memory = std::size_t{128} << 20; ///< bytes, for points that are kept until it is known where they are
};

struct DrawnPage {
    PicturePage page;
    std::uint64_t points = 0; ///< that the picture is of
};

/// The points of a survey from above, the highest on top, or in a profile, with axes and what the colours mean. Throws
/// UsageError for what cannot be drawn of this survey, Failure, and Interrupted.
DrawnPage pictureOf(const Survey& survey, const PictureTask& task, const Watch& watch = {});

/// The same of two surveys that hold the same points in the same order: before, after, and where they differ, which is
/// seen wherever it is. Of values only. The limit looks at the points as they were.
DrawnPage pictureOfChanges(const Survey& before, const Survey& after, const PictureTask& task, const Watch& watch = {});

/// Draws the page into a file, SVG or PNG as its ending says. Returns what was lost of a file that it replaces.
std::vector<std::string> savePage(const PicturePage& page, const std::string& path, bool overwrite);

} // namespace corvane
