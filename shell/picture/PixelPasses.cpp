// SPDX-License-Identifier: Apache-2.0
#include "picture/PixelPasses.hpp"

#include "picture/Projector.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

namespace corvane {
namespace {

/// The part of a colour that starts at this bit.
float channel(Colour colour, int shift) { return static_cast<float>(colour >> shift & 0xFF); }

Colour opaque(float red, float green, float blue) {
    const auto byte = [](float value) { return static_cast<Colour>(std::clamp(value, 0.0F, 255.0F) + 0.5F); };
    return 0xFF000000U | byte(red) << 16 | byte(green) << 8 | byte(blue);
}

/// Of a row and those above and below, the nearest point in and around each empty pixel. Rows beyond the edge are the
/// row itself.
[[gnu::always_inline]] inline void growRow(const Pixel* above, const Pixel* here, const Pixel* below, int width,
                                           bool square, Pixel* __restrict grown) {
    const auto nearest = [&](int left, int x, int right) {
        const auto column = [&](int at) { return std::min(std::min(above[at], below[at]), here[at]); };
        const Pixel sides = square ? std::min(column(left), column(right)) : std::min(here[left], here[right]);
        const Pixel grownInto = std::min(column(x), sides);
        return here[x] != NoPoint ? here[x] : grownInto;
    };
    const int last = width - 1;
    grown[0] = nearest(0, 0, std::min(1, last));
    for (int x = 1; x < last; ++x) grown[x] = nearest(x - 1, x, x + 1);
    if (last > 0) grown[last] = nearest(last - 1, last, last);
}

/// The logarithm to base 2 of a positive number, linear between powers of two, from its bits.
float roughLogarithm(float value) { return static_cast<float>(std::bit_cast<std::int32_t>(value)) * 0x1p-23F - 127.0F; }

template <class DepthAt>
DepthGrid depthGrid(const Grid<Pixel>& pixels, int margin, Team* team, DepthAt depthAt) {
    constexpr auto none = static_cast<std::uint32_t>(NoPoint >> 32); // which is no depth
    DepthGrid depths(pixels.width, pixels.height, margin);
    inBands(team, pixels.height, [&](int first, int end) {
        const DepthAt at = depthAt; // which no store below can change
        for (int y = first; y < end; ++y) {
            const Pixel* const from = pixels.row(y);
            float* __restrict const to = depths.row(y);
            for (int x = 0, width = pixels.width; x < width; ++x) {
                const auto ordered = static_cast<std::uint32_t>(from[x] >> 32);
                const float depth = at(depthOfOrdered(ordered));
                to[x] = ordered == none ? DepthGrid::None : depth;
            }
        }
    });
    return depths;
}

/// How much deeper it is from one pixel to the next; 0 where nothing is known. `none` is not a number.
float slope(float before, float here, float behind) {
    const bool hasBefore = before == before, hasBehind = behind == behind;
    const float from = hasBefore ? before : here, to = hasBehind ? behind : here;
    return (to - from) * (hasBefore & hasBehind ? 0.5F : 1.0F);
}

/// The two passes that take the longest, with the instructions that the processor has; the results are the same to the
/// bit.
struct RowPasses {
    void (*grow)(const Pixel* above, const Pixel* here, const Pixel* below, int width, bool square, Pixel* grown);
    void (*eyeDome)(const float* above, const float* here, const float* below, int width, int away, float factor,
                    float* shade);
};

/// How much darker it is between two neighbours, by how much they are nearer. What goes down on one side counts half
/// against what goes up on the other: slopes are a little darker than level places. What is no number does not count.
inline float darkness(float one, float other) {
    constexpr float most = 6; // widths of a pixel that a neighbour counts at most: an edge is an edge
    const auto upTo = [](float by) { return by > 0.0F ? (by < most ? by : most) : 0.0F; };
    const float dark = upTo(one) + upTo(other) - 0.5F * (upTo(-one) + upTo(-other));
    return dark > 0.0F ? dark : 0.0F;
}

[[gnu::always_inline]] inline void eyeDomeRow(const float* above, const float* here, const float* below, int width,
                                              int away, float factor, float* __restrict shade) {
    constexpr float darkest = 0.2F;
    for (int x = 0; x < width; ++x) {
        const float depth = here[x];
        const float dark = factor * (darkness(depth - above[x - away], depth - below[x + away]) +
                                     darkness(depth - above[x], depth - below[x]) +
                                     darkness(depth - above[x + away], depth - below[x - away]) +
                                     darkness(depth - here[x - away], depth - here[x + away]));
        const float light = 1.0F / (1.0F + dark + 0.5F * dark * dark); // nearly exp(-dark)
        shade[x] = light > darkest ? light : darkest;
    }
}

void growPlain(const Pixel* above, const Pixel* here, const Pixel* below, int width, bool square, Pixel* grown) {
    growRow(above, here, below, width, square, grown);
}
void eyeDomePlain(const float* above, const float* here, const float* below, int width, int away, float factor,
                  float* shade) {
    eyeDomeRow(above, here, below, width, away, factor, shade);
}

#if defined(__x86_64__)
__attribute__((target("avx2"))) void growAvx2(const Pixel* above, const Pixel* here, const Pixel* below, int width,
                                              bool square, Pixel* grown) {
    growRow(above, here, below, width, square, grown);
}
__attribute__((target("avx2"))) void eyeDomeAvx2(const float* above, const float* here, const float* below, int width,
                                                 int away, float factor, float* shade) {
    eyeDomeRow(above, here, below, width, away, factor, shade);
}
#endif

const RowPasses& rowPasses() {
#if defined(__x86_64__)
    static const RowPasses passes =
        processorHas(Instructions::Avx2) ? RowPasses{growAvx2, eyeDomeAvx2} : RowPasses{growPlain, eyeDomePlain};
#else
    static const RowPasses passes{growPlain, eyeDomePlain};
#endif
    return passes;
}

} // namespace

void inBands(Team* team, int rows, const std::function<void(int, int)>& work) {
    if (team)
        team->bands(rows, work);
    else
        work(0, rows);
}

Grid<Pixel> gridOf(const Screen& screen, std::span<const Pixel> pixels) {
    return {screen.width, screen.height, {pixels.begin(), pixels.end()}};
}

Grid<Pixel> gridOf(const PointRaster& raster) { return gridOf(raster.screen(), raster.pixels()); }

void grow(Grid<Pixel>& pixels, int rounds, Team* team) {
    if (rounds <= 0 || pixels.cells.empty()) return;
    Grid<Pixel> grown = Grid<Pixel>::ofSize(pixels.width, pixels.height);
    for (int round = 0; round < rounds; ++round) {
        const bool square = round % 2 == 0; // and a cross in between: what grows stays round
        inBands(team, pixels.height, [&](int first, int end) {
            for (int y = first; y < end; ++y)
                rowPasses().grow(pixels.row(std::max(y - 1, 0)), pixels.row(y),
                                 pixels.row(std::min(y + 1, pixels.height - 1)), pixels.width, square, grown.row(y));
        });
        pixels.cells.swap(grown.cells);
    }
}

int roundsFor(std::uint64_t points, std::uint64_t pixelsBetween) {
    constexpr double most = 6; // a few points in a large picture stay points
    if (points == 0) return 0;
    const double spacing = std::sqrt(double(pixelsBetween) / double(points));
    return static_cast<int>(std::clamp(std::ceil(spacing), 1.0, most));
}

int roundsFor(const Grid<Pixel>& pixels) {
    constexpr int side = 8; // of the squares that count as near points if there is one in them
    constexpr double full = 0.97;
    std::uint64_t filled = 0, near = 0;
    for (int row = 0; row < pixels.height; row += side)
        for (int column = 0; column < pixels.width; column += side) {
            const int right = std::min(column + side, pixels.width), low = std::min(row + side, pixels.height);
            std::uint64_t here = 0;
            for (int y = row; y < low; ++y) {
                const Pixel* const cells = pixels.row(y);
                for (int x = column; x < right; ++x) here += cells[x] != NoPoint;
            }
            filled += here;
            near += here > 0 ? std::uint64_t(right - column) * std::uint64_t(low - row) : 0;
        }
    if (near == 0) return 0;
    const double part = double(filled) / double(near);
    if (part >= full) return 1;
    const double pointsToPixel = -std::log(1 - part); // of points that fall anywhere
    return static_cast<int>(std::clamp(std::ceil(0.8 / std::sqrt(pointsToPixel)), 1.0, 4.0));
}

DepthGrid depthsOf(const Grid<Pixel>& pixels, int margin, Team* team) {
    return depthGrid(pixels, margin, team, [](float depth) { return depth; });
}

DepthGrid depthsInPixels(const Grid<Pixel>& pixels, bool affine, float rise, int margin, Team* team) {
    if (affine) return depthGrid(pixels, margin, team, [rise](float depth) { return depth * rise; });
    const float perOctave = rise * 0.69314718F;
    return depthGrid(pixels, margin, team, [perOctave](float depth) { return roughLogarithm(depth) * perOctave; });
}

DepthGrid smoothed(const DepthGrid& depths, Team* team) {
    DepthGrid result(depths.width(), depths.height(), 1);
    inBands(team, depths.height(), [&](int first, int end) {
        for (int y = first; y < end; ++y) {
            const std::array<const float*, 3> rows{depths.row(y - 1), depths.row(y), depths.row(y + 1)};
            float* const to = result.row(y);
            for (int x = 0; x < depths.width(); ++x) {
                float sum = 0, weight = 0;
                for (std::size_t r = 0; r < 3; ++r)
                    for (int dx = -1; dx <= 1; ++dx) {
                        const float depth = rows[r][x + dx];
                        const float own = (dx == 0 ? 2.0F : 1.0F) * (r == 1 ? 2.0F : 1.0F);
                        sum += depth == depth ? own * depth : 0.0F;
                        weight += depth == depth ? own : 0.0F;
                    }
                to[x] = rows[1][x] == rows[1][x] ? sum / weight : DepthGrid::None;
            }
        }
    });
    return result;
}

Grid<float> hillshade(const Grid<Pixel>& pixels, double rise) {
    return hillshade(smoothed(depthsOf(pixels, 1)), static_cast<float>(rise));
}

Grid<float> hillshade(const DepthGrid& depths, float rise, Team* team) {
    constexpr float steepest = 2.5F;                               // walls would be black or white
    constexpr std::array<float, 3> sun{-0.5F, -0.5F, 0.70710678F}; // to the upper left, 45 degrees high
    Grid<float> shade = Grid<float>::ofSize(depths.width(), depths.height());
    inBands(team, depths.height(), [&](int first, int end) {
        for (int y = first; y < end; ++y) {
            const float *const above = depths.row(y - 1), *const here = depths.row(y), *const below = depths.row(y + 1);
            float* const to = shade.row(y);
            for (int x = 0; x < depths.width(); ++x) {
                const auto steepness = [&](float before, float behind) {
                    return std::min(std::max(rise * slope(before, here[x], behind), -steepest), steepest);
                };
                // Where it gets deeper to the right the surface looks to the right.
                const float right = steepness(here[x - 1], here[x + 1]), down = steepness(above[x], below[x]);
                const float light =
                    (right * sun[0] + down * sun[1] + sun[2]) / std::sqrt(right * right + down * down + 1);
                to[x] = here[x] == here[x] ? light / sun[2] : 1.0F;
            }
        }
    });
    return shade;
}

Grid<float> eyeDome(const DepthGrid& depths, int away, float strength, Team* team) {
    Grid<float> shade = Grid<float>::ofSize(depths.width(), depths.height());
    inBands(team, depths.height(), [&](int first, int end) {
        for (int y = first; y < end; ++y)
            rowPasses().eyeDome(depths.row(y - away), depths.row(y), depths.row(y + away), depths.width(), away,
                                strength / 12, shade.row(y));
    });
    return shade;
}

Colour lit(Colour colour, float brightness) {
    return opaque(channel(colour, 16) * brightness, channel(colour, 8) * brightness, channel(colour, 0) * brightness);
}

Colour between(Colour from, Colour to, double part) {
    const auto mixed = [&](int shift) {
        return channel(from, shift) + static_cast<float>(part) * (channel(to, shift) - channel(from, shift));
    };
    return opaque(mixed(16), mixed(8), mixed(0));
}

Grid<Colour> coloured(const Grid<Pixel>& pixels, const std::function<Colour(std::uint32_t mark)>& colourOf,
                      Colour background, const Grid<float>* shade) {
    constexpr float darkest = 0.45F, brightest = 1.2F;
    Grid<Colour> colours{pixels.width, pixels.height, Grid<Colour>::Cells(pixels.cells.size(), background)};
    for (std::size_t i = 0; i < pixels.cells.size(); ++i) {
        if (pixels.cells[i] == NoPoint) continue;
        const Colour own = colourOf(markOf(pixels.cells[i]));
        colours.cells[i] = shade ? lit(own, std::clamp(shade->cells[i], darkest, brightest)) : own;
    }
    return colours;
}

} // namespace corvane
