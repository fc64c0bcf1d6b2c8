// SPDX-License-Identifier: Apache-2.0
#include "picture/Surface.hpp"

#include <algorithm>
#include <cmath>

namespace corvane {
namespace {

using Mask = Grid<std::uint8_t>;

/// Sets what has something set within so many pixels along its row.
void spreadAlongRows(const Mask& from, int reach, Mask& to, Team* team) {
    inBands(team, from.height, [&](int first, int end) {
        for (int y = first; y < end; ++y) {
            const std::uint8_t* const set = from.row(y);
            int last = -reach - 1; // that is set, of those up to `reach` to the right
            for (int x = 0; x < std::min(reach, from.width); ++x)
                if (set[x]) last = x;
            for (int x = 0; x < from.width; ++x) {
                if (x + reach < from.width && set[x + reach]) last = x + reach;
                to.row(y)[x] = last >= x - reach;
            }
        }
    });
}

void spreadAlongColumns(const Mask& from, int reach, Mask& to, Team* team) {
    inBands(team, from.height, [&](int first, int end) {
        std::vector<int> last(static_cast<std::size_t>(from.width), first - reach - 1);
        const auto note = [&](int y) {
            for (int x = 0; x < from.width; ++x) last[std::size_t(x)] = from.row(y)[x] ? y : last[std::size_t(x)];
        };
        for (int y = std::max(first - reach, 0); y < std::min(first + reach, from.height); ++y) note(y);
        for (int y = first; y < end; ++y) {
            if (y + reach < from.height) note(y + reach);
            for (int x = 0; x < from.width; ++x) to.row(y)[x] = last[std::size_t(x)] >= y - reach;
        }
    });
}

void invert(Mask& mask) {
    for (std::uint8_t& set : mask.cells) set = set == 0;
}

/// What is set, and what lies between it: holes so many pixels wide, and not what is outside.
Mask closed(const Grid<Pixel>& points, int width, Team* team) {
    Mask mask = Mask::ofSize(points.width, points.height), half = Mask::ofSize(points.width, points.height);
    for (std::size_t i = 0; i < mask.cells.size(); ++i) mask.cells[i] = points.cells[i] != NoPoint;
    for (int turn = 0; turn < 2; ++turn) {
        spreadAlongRows(mask, (width + 1) / 2, half, team);
        spreadAlongColumns(half, (width + 1) / 2, mask, team);
        invert(mask); // the second time what is outside spreads back
    }
    return mask;
}

/// One level of the pyramid: the average depth of what is known in four pixels, and the mark of the nearest of them.
struct Level {
    Grid<float> depths;
    Grid<Pixel> marks;

    static Level ofSize(int width, int height) {
        return {Grid<float>::ofSize(width, height), Grid<Pixel>::ofSize(width, height)};
    }
};

Level coarser(const Level& fine, Team* team) {
    Level level = Level::ofSize((fine.depths.width + 1) / 2, (fine.depths.height + 1) / 2);
    inBands(team, level.depths.height, [&](int first, int end) {
        for (int y = first; y < end; ++y)
            for (int x = 0; x < level.depths.width; ++x) {
                float sum = 0, known = 0;
                Pixel mark = NoPoint;
                for (int row = 2 * y; row < std::min(2 * y + 2, fine.depths.height); ++row)
                    for (int column = 2 * x; column < std::min(2 * x + 2, fine.depths.width); ++column) {
                        const float depth = fine.depths.at(column, row);
                        if (depth != depth) continue;
                        sum += depth;
                        known += 1;
                        mark = std::min(mark, fine.marks.at(column, row));
                    }
                level.depths.at(x, y) = known > 0 ? sum / known : DepthGrid::None;
                level.marks.at(x, y) = mark;
            }
    });
    return level;
}

/// What is unknown becomes what the coarser level has around it, the nearer more of it.
void fillFrom(const Level& coarse, Level& fine, Team* team) {
    inBands(team, fine.depths.height, [&](int first, int end) {
        for (int y = first; y < end; ++y)
            for (int x = 0; x < fine.depths.width; ++x) {
                if (fine.depths.at(x, y) == fine.depths.at(x, y)) continue;
                float sum = 0, weight = 0;
                for (const int dy : {0, y % 2 == 0 ? -1 : 1})
                    for (const int dx : {0, x % 2 == 0 ? -1 : 1}) {
                        const int column = x / 2 + dx, row = y / 2 + dy;
                        if (!coarse.depths.holds(column, row)) continue;
                        const float depth = coarse.depths.at(column, row);
                        const float part = (dx == 0 ? 3.0F : 1.0F) * (dy == 0 ? 3.0F : 1.0F);
                        if (depth != depth) continue;
                        sum += part * depth;
                        weight += part;
                        if (fine.marks.at(x, y) == NoPoint) fine.marks.at(x, y) = coarse.marks.at(column, row);
                    }
                if (weight > 0) fine.depths.at(x, y) = sum / weight;
            }
    });
}

Level finest(const Grid<Pixel>& points, Team* team) {
    Level level = Level::ofSize(points.width, points.height);
    inBands(team, points.height, [&](int first, int end) {
        for (int y = first; y < end; ++y)
            for (int x = 0; x < points.width; ++x) {
                const Pixel pixel = points.at(x, y);
                level.marks.at(x, y) = pixel;
                level.depths.at(x, y) = pixel == NoPoint ? DepthGrid::None : depthOf(pixel);
            }
    });
    return level;
}

} // namespace

Surface surfaceThrough(const Grid<Pixel>& points, int widestHole, Team* team) {
    std::vector<Level> levels{finest(points, team)};
    for (int width = 1; width < widestHole; width *= 2) levels.push_back(coarser(levels.back(), team));
    for (std::size_t i = levels.size() - 1; i > 0; --i) fillFrom(levels[i], levels[i - 1], team);
    Level& filled = levels.front();
    const Mask inside = closed(points, widestHole, team);
    Surface surface{std::move(filled.marks), DepthGrid(points.width, points.height, 1)};
    inBands(team, points.height, [&](int first, int end) {
        for (int y = first; y < end; ++y)
            for (int x = 0; x < points.width; ++x) {
                if (inside.at(x, y) == 0) surface.pixels.at(x, y) = NoPoint;
                surface.depths.row(y)[x] =
                    surface.pixels.at(x, y) != NoPoint ? filled.depths.at(x, y) : DepthGrid::None;
            }
    });
    return surface;
}

int holesBetween(const Grid<Pixel>& points) {
    constexpr int side = 32;
    std::uint64_t filled = 0, near = 0;
    for (int row = 0; row < points.height; row += side)
        for (int column = 0; column < points.width; column += side) {
            const int right = std::min(column + side, points.width), low = std::min(row + side, points.height);
            std::uint64_t here = 0;
            for (int y = row; y < low; ++y)
                for (int x = column; x < right; ++x) here += points.at(x, y) != NoPoint;
            filled += here;
            near += here > 0 ? std::uint64_t(right - column) * std::uint64_t(low - row) : 0;
        }
    if (filled == 0) return 2;
    const double spacing = std::sqrt(double(near) / double(filled));
    return static_cast<int>(std::clamp(std::ceil(4 * spacing), 2.0, 64.0));
}

} // namespace corvane
