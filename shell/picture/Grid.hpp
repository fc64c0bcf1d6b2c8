// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Holdfast/BufferPool.hpp"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <vector>

namespace corvane {

/// Pixels, row by row from above. Their memory comes from a pool, since fresh memory costs more than most passes.
template <class T>
struct Grid {
    using Cells = std::vector<T, Holdfast::PoolAllocator<T>>; // numbers of a new one are not initialised

    int width = 0, height = 0;
    Cells cells;

    static Grid ofSize(int width, int height) {
        return {width, height, Cells(std::size_t(width) * std::size_t(height))};
    }

    bool holds(int column, int row) const { return column >= 0 && column < width && row >= 0 && row < height; }
    T& at(int column, int row) { return cells[place(column, row)]; }
    const T& at(int column, int row) const { return cells[place(column, row)]; }
    T* row(int row) { return cells.data() + place(0, row); }
    const T* row(int row) const { return cells.data() + place(0, row); }

private:
    std::size_t place(int column, int row) const {
        return static_cast<std::size_t>(row) * static_cast<std::size_t>(width) + static_cast<std::size_t>(column);
    }
};

/// Depths of pixels, with a margin around them of as many as a pass looks away; not a number where there is no point.
class DepthGrid {
public:
    static constexpr float None = std::numeric_limits<float>::quiet_NaN();

    /// The margin is filled, the rest is not initialised.
    DepthGrid(int width, int height, int margin)
        : width_(width),
          height_(height),
          margin_(margin),
          cells_(std::size_t(stride()) * std::size_t(height + 2 * margin)) {
        for (int y = -margin; y < height + margin; ++y) {
            float* const cells = row(y);
            const bool outside = y < 0 || y >= height;
            std::fill(cells - margin, outside ? cells + width : cells, None);
            std::fill(cells + width, cells + width + margin, None);
        }
    }

    int width() const { return width_; }
    int height() const { return height_; }
    int margin() const { return margin_; }

    /// From column 0 on; the columns and rows of the margin are there, too.
    float* row(int row) { return cells_.data() + place(row); }
    const float* row(int row) const { return cells_.data() + place(row); }

private:
    std::ptrdiff_t stride() const { return width_ + 2 * margin_; }
    std::ptrdiff_t place(int row) const { return (row + margin_) * stride() + margin_; }

    int width_, height_, margin_;
    std::vector<float, Holdfast::PoolAllocator<float>> cells_;
};

} // namespace corvane
