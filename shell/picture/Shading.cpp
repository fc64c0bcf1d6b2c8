// SPDX-License-Identifier: Apache-2.0
#include "picture/Shading.hpp"

#include "picture/ScreenPlace.hpp"
#include "picture/Surface.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <glm/geometric.hpp>

namespace corvane {
namespace {

constexpr Colour Unknown = 0xff8c8c8c; // of points of which nothing is known yet

/// The numbers of a fragment's points, as they lie in memory; null what is not there.
struct Codes {
    const std::uint8_t* bytes = nullptr;
    const std::uint16_t* words = nullptr;

    explicit Codes(const DrawnColumn* column) {
        if (!column) return;
        if (const auto* held = std::get_if<DrawnColumn::Bytes>(&column->values)) bytes = held->data();
        if (const auto* held = std::get_if<DrawnColumn::Words>(&column->values)) words = held->data();
    }
    explicit operator bool() const { return bytes || words; }
    std::uint32_t operator[](std::size_t i) const { return bytes ? bytes[i] : words[i]; }
};

/// What is known of a fragment's points.
struct Columns {
    Columns(const DrawnFragment& fragment, const std::string& name, bool withMask)
        : points(fragment.packed->points.data()),
          lowest(fragment.packed->box.minimum.z),
          step(fragment.packed->step.z),
          shown(fragment.column(name)),
          classes(fragment.column(column::Class)) {
        const DrawnColumn* const column = fragment.column(name);
        if (column) {
            offset = column->offset;
            if (const auto* held = std::get_if<DrawnColumn::Numbers>(&column->values)) numbers = held->data();
            if (const auto* held = std::get_if<DrawnColumn::Colours>(&column->values)) colours = held->data();
        }
        const DrawnColumn* const selected = withMask ? fragment.column(column::Mask) : nullptr;
        if (selected) mask = std::get_if<BitColumn>(&selected->values);
    }

    const std::uint64_t* points;
    double lowest, step; // of heights
    Codes shown, classes;
    const float* numbers = nullptr;
    double offset = 0; // of numbers
    const Colour* colours = nullptr;
    const BitColumn* mask = nullptr;
};

const std::string& columnFor(const Look& look) {
    static const std::string none;
    switch (look.by) {
    case ColourBy::Class:
        return column::Class;
    case ColourBy::Return:
        return column::Return;
    case ColourBy::Intensity:
        return column::Intensity;
    case ColourBy::Rgb:
        return column::Rgb;
    case ColourBy::Field:
        return look.field;
    case ColourBy::Height:
        break;
    }
    return none;
}

/// Colours of numbers.
class RampTable {
public:
    explicit RampTable(const Look& look) : low_(look.range.first) {
        for (std::size_t i = 0; i < Steps; ++i) table_.push_back(rampColour(look.ramp, double(i) / double(Steps - 1)));
        const double extent = look.range.second - look.range.first;
        perNumber_ = extent > 0 && std::isfinite(extent) ? double(Steps - 1) / extent : 0;
    }
    Colour operator()(double number) const {
        const double place = std::min(std::max((number - low_) * perNumber_, 0.0), double(Steps - 1));
        return table_[place == place ? static_cast<std::size_t>(place + 0.5) : 0];
    }

private:
    static constexpr std::size_t Steps = 1024;

    double low_, perNumber_ = 0;
    std::vector<Colour> table_;
};

/// Calls `use` with what gives a point's colour, `colourOf(columns, i)`, and with what has a point's values brought
/// near beforehand, `near(columns, i)`.
template <class Use>
void withColours(const Look& look, Use use) {
    const RampTable ramp(look);
    const auto nearCode = [](const Columns& columns, std::size_t i) {
        if (columns.shown.bytes) __builtin_prefetch(columns.shown.bytes + i);
    };
    switch (look.by) {
    case ColourBy::Class:
    case ColourBy::Return: {
        const std::vector<Colour> table = look.palette ? *look.palette : std::vector<Colour>();
        return use(
            [&](const Columns& columns, std::size_t i) {
                const std::uint32_t code = columns.shown ? columns.shown[i] : ~std::uint32_t{0};
                return code < table.size() ? table[code] | 0xFF000000U : Unknown;
            },
            nearCode);
    }
    case ColourBy::Height:
        return use(
            [&](const Columns& columns, std::size_t i) {
                const std::uint64_t height = columns.points[i] >> 2 * PackedPoints::Bits & PackedPoints::Largest;
                return ramp(columns.lowest + columns.step * static_cast<double>(static_cast<std::int64_t>(height)));
            },
            [](const Columns& columns, std::size_t i) { __builtin_prefetch(columns.points + i); });
    case ColourBy::Rgb:
        return use([](const Columns& columns,
                      std::size_t i) { return columns.colours ? columns.colours[i] | 0xFF000000U : Unknown; },
                   nearCode);
    case ColourBy::Intensity:
    case ColourBy::Field:
        return use(
            [&](const Columns& columns, std::size_t i) {
                if (columns.numbers) return ramp(columns.offset + double(columns.numbers[i]));
                return columns.shown ? ramp(columns.shown[i]) : Unknown;
            },
            nearCode);
    }
}

/// A colour times a brightness of 256 parts, and with a tint of 256 parts.
Colour times(Colour colour, int brightness) {
    const auto part = [&](int shift) {
        return static_cast<Colour>(std::min(static_cast<int>(colour >> shift & 0xFF) * brightness >> 8, 255)) << shift;
    };
    return 0xFF000000U | part(16) | part(8) | part(0);
}

Colour tinted(Colour colour, const Tint& tint) {
    const int share = static_cast<int>(std::clamp(tint.part, 0.0F, 1.0F) * 256);
    const auto part = [&](int shift) {
        const int from = static_cast<int>(colour >> shift & 0xFF), to = static_cast<int>(tint.colour >> shift & 0xFF);
        return static_cast<Colour>(from + ((to - from) * share >> 8)) << shift;
    };
    return 0xFF000000U | part(16) | part(8) | part(0);
}

/// Colours one row of pixels after the other.
class Painter {
public:
    Painter(const ShownPoints& points, const Grid<float>& light, const Look& look)
        : points_(points), light_(light), look_(look) {
        for (const auto& fragment : points.fragments)
            columns_.emplace_back(*fragment, columnFor(look), look.mask.part > 0);
        if (look.preview && look.preview->size() == points.pixels->cells.size() && look.previewTint.part > 0)
            preview_ = look.preview->data();
        flashes_ = look.flashClass >= 0 && look.flash.part > 0;
        masks_ = std::ranges::any_of(columns_, [](const Columns& columns) { return columns.mask != nullptr; });
    }

    template <class ColourOf, class Near>
    void row(int y, ColourOf colourOf, Near near, Colour* to) const {
        const int width = points_.pixels->width;
        const Pixel* const from = points_.pixels->row(y);
        std::array<PointNumbers::Place, Ahead> places;
        for (int first = 0; first < width; first += Ahead) {
            const int count = std::min(Ahead, width - first);
            find(from + first, count, places.data(), near);
            for (int i = 0; i < count; ++i)
                to[first + i] =
                    from[first + i] == NoPoint
                        ? look_.background
                        : finished(first + i, y, places[std::size_t(i)],
                                   colourOf(columns_[places[std::size_t(i)].fragment], places[std::size_t(i)].point));
        }
    }

private:
    static constexpr int Ahead = 128; // pixels whose points are looked for before the first is coloured

    template <class Near>
    void find(const Pixel* from, int count, PointNumbers::Place* places, Near near) const {
        for (int i = 0; i < count; ++i) {
            if (from[i] == NoPoint) continue;
            places[i] = points_.numbers->find(markOf(from[i]));
            near(columns_[places[i].fragment], places[i].point);
        }
    }

    /// The colour with light and tints.
    Colour finished(int x, int y, const PointNumbers::Place& place, Colour colour) const {
        if (!light_.cells.empty()) colour = times(colour, static_cast<int>(light_.row(y)[x] * 256 + 0.5F));
        if (!masks_ && !flashes_ && !preview_) return colour;
        const Columns& columns = columns_[place.fragment];
        if (columns.mask && (*columns.mask)[place.point]) colour = tinted(colour, look_.mask);
        const int code = columns.classes ? static_cast<int>(columns.classes[place.point]) : -1;
        if (flashes_ && code == look_.flashClass) colour = tinted(colour, look_.flash);
        const auto pixel =
            static_cast<std::size_t>(y) * static_cast<std::size_t>(points_.pixels->width) + std::size_t(x);
        if (preview_ && preview_[pixel] && isTouched(code, depthOf(points_.pixels->cells[pixel])))
            colour = tinted(colour, look_.previewTint);
        return colour;
    }

    bool isTouched(int code, float depth) const {
        if (!(depth >= look_.previewDepths.first && depth <= look_.previewDepths.second)) return false;
        if (look_.previewClasses.empty() || code < 0) return true;
        return std::size_t(code) < look_.previewClasses.size() && look_.previewClasses[std::size_t(code)] != 0;
    }

    const ShownPoints& points_;
    const Grid<float>& light_;
    const Look& look_;
    std::vector<Columns> columns_; // by fragment
    const std::uint8_t* preview_ = nullptr;
    bool flashes_ = false, masks_ = false;
};

/// How many widths of a pixel a unit of depth goes; in a perspective, one by the width at a distance of one.
float riseOf(const Screen& screen) {
    const PixelSize size = pixelSize(screen);
    if (screen.view.affine()) return static_cast<float>(size.width > 0 ? size.depth / size.width : 0);
    return static_cast<float>(size.height > 0 ? 1 / size.height : 0);
}

} // namespace

Filter filterFor(const Look& look) { return {look.hidden, look.surface}; }

LitPixels litPixels(const Screen& screen, std::span<const Pixel> drawn, const Look& look, Team* team) {
    Grid<Pixel> pixels = gridOf(screen, drawn);
    const float rise = riseOf(screen);
    if (!look.surface.empty() && screen.view.affine()) {
        constexpr float darkest = 0.35F, brightest = 1.25F;
        Surface surface = surfaceThrough(pixels, holesBetween(pixels), team);
        Grid<float> light = hillshade(smoothed(surface.depths, team), rise, team);
        for (float& part : light.cells) part = std::min(std::max(part, darkest), brightest);
        return {std::make_shared<const Grid<Pixel>>(std::move(surface.pixels)), std::move(light)};
    }
    const int rounds = look.grow == Look::AsIsGood ? roundsFor(pixels) : std::clamp(look.grow, 0, 8);
    grow(pixels, rounds, team);
    Grid<float> light;
    if (look.eyeDome) {
        const int away = 1 + rounds / 2;
        light =
            eyeDome(depthsInPixels(pixels, screen.view.affine(), rise, away, team), away, look.eyeDomeStrength, team);
    }
    return {std::make_shared<const Grid<Pixel>>(std::move(pixels)), std::move(light)};
}

Grid<Colour> shaded(const ShownPoints& points, const Grid<float>& light, const Look& look, Team* team) {
    Grid<Colour> colours = Grid<Colour>::ofSize(points.pixels->width, points.pixels->height);
    const Painter painter(points, light, look);
    withColours(look, [&](auto colourOf, auto near) {
        inBands(team, colours.height, [&](int first, int end) {
            for (int y = first; y < end; ++y) painter.row(y, colourOf, near, colours.row(y));
        });
    });
    return colours;
}

} // namespace corvane
