// SPDX-License-Identifier: Apache-2.0
// What the pictures of one survey and of changes have in common.
#pragma once

#include "plot/SurveyPicture.hpp"

namespace corvane {

/// Where the points may be, by the header and the limit; any place when they say nothing of use.
Extent guessFor(const LasFile& las, const Sight& sight, const Kesh::LimitPtr& limit);

/// How far a unit of the survey goes on the screen of the view.
double screenUnit(const Sight& sight);

/// "metre" and "metres"; of a survey that does not say it, "unit".
std::string unitName(const LasFile& las, bool several);

/// What every page says: axes, scale bar, and what a reader must know of the picture.
void describeFrame(PicturePage& page, const LasFile& las, const Sight& sight, const PageLayout& layout,
                   const Drawing& drawing);

/// "from above" or the profile, and what the colours are of.
std::string sightText(const LasFile& las, const Sight& sight, const std::string& by);

/// Which points those are, behind a comma; of a profile without a limit there is nothing to add.
std::string regionText(const PictureTask& task);

/// A panel with this picture of the screen.
Panel panelOf(const Screen& screen, const Sight& sight, Grid<Colour> image, const std::string& title = "");

/// How far points may grow: in a profile they are what is to be seen, from above the surface that they lie on.
inline int growthFor(const Sight& sight) { return sight.isProfile() ? 1 : 6; }

/// The pixels without the holes between them.
Grid<Pixel> closed(const PointRaster& raster, std::uint64_t points, int mostRounds);

/// The shade of a surface from above; nothing for a profile.
std::optional<Grid<float>> shadeOf(const Grid<Pixel>& pixels, const Sight& sight, const PageLayout& layout);

constexpr Colour Paper = 0xffffffff;

/// Decimals that tell apart numbers of such a range.
int decimalsFor(double range);

} // namespace corvane
