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
constexpr std::size_t RampSteps = 1024;

/// Where the values of a fragment's points lie; null or empty for what is not there.
struct Columns {
    const DrawnFragment* fragment;
    const DrawnColumn *shown, *classes, *mask;
};

std::uint32_t codeAt(const DrawnColumn& column, std::size_t i) {
    if (const auto* bytes = std::get_if<DrawnColumn::Bytes>(&column.values)) return (*bytes)[i];
    if (const auto* words = std::get_if<DrawnColumn::Words>(&column.values)) return (*words)[i];
    return 0;
}

double numberAt(const DrawnColumn& column, std::size_t i) {
    if (const auto* numbers = std::get_if<DrawnColumn::Numbers>(&column.values)) return column.offset + (*numbers)[i];
    return codeAt(column, i);
}

bool isSet(const DrawnColumn* column, std::size_t i) {
    const auto* const bits = column ? std::get_if<BitColumn>(&column->values) : nullptr;
    return bits && (*bits)[i];
}

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

/// Colours of points, by what a look asks for.
class Colours {
public:
    explicit Colours(const Look& look) : by_(look.by) {
        if (by_ == ColourBy::Class || by_ == ColourBy::Return) {
            if (look.palette) table_ = *look.palette;
            return;
        }
        for (std::size_t i = 0; i < RampSteps; ++i)
            table_.push_back(rampColour(look.ramp, double(i) / double(RampSteps - 1)));
        low_ = look.range.first;
        const double extent = look.range.second - look.range.first;
        perNumber_ = extent > 0 && std::isfinite(extent) ? double(RampSteps - 1) / extent : 0;
    }

    Colour operator()(const Columns& columns, std::size_t i) const {
        if (by_ == ColourBy::Height) return ofNumber(heightAt(*columns.fragment->packed, i));
        if (!columns.shown) return Unknown;
        if (by_ == ColourBy::Rgb) {
            const auto* const colours = std::get_if<DrawnColumn::Colours>(&columns.shown->values);
            return colours ? (*colours)[i] | 0xFF000000U : Unknown;
        }
        if (by_ == ColourBy::Intensity || by_ == ColourBy::Field) return ofNumber(numberAt(*columns.shown, i));
        const std::uint32_t code = codeAt(*columns.shown, i);
        return code < table_.size() ? table_[code] | 0xFF000000U : Unknown;
    }

private:
    static double heightAt(const PackedPoints& packed, std::size_t i) {
        return packed.box.minimum.z +
               packed.step.z * double(packed.points[i] >> 2 * PackedPoints::Bits & PackedPoints::Largest);
    }

    Colour ofNumber(double number) const {
        const double place = std::min(std::max((number - low_) * perNumber_, 0.0), double(RampSteps - 1));
        return table_[place == place ? static_cast<std::size_t>(place + 0.5) : 0];
    }

    ColourBy by_;
    std::vector<Colour> table_;
    double low_ = 0, perNumber_ = 0;
};

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

/// Colours one pixel after the other.
class Painter {
public:
    Painter(const ShownPoints& points, const Grid<float>& light, const Look& look)
        : points_(points), light_(light), look_(look), colours_(look) {
        const std::string& shown = columnFor(look);
        for (const auto& fragment : points.fragments)
            columns_.push_back({fragment.get(), fragment->column(shown), fragment->column(column::Class),
                                look.mask.part > 0 ? fragment->column(column::Mask) : nullptr});
        if (look.preview && look.preview->size() == points.pixels->cells.size() && look.previewTint.part > 0)
            preview_ = look.preview->data();
        flashes_ = look.flashClass >= 0 && look.flash.part > 0;
    }

    void row(int y, Colour* to) const {
        const Grid<Pixel>& pixels = *points_.pixels;
        const Pixel* const from = pixels.row(y);
        const float* const light = light_.cells.empty() ? nullptr : light_.row(y);
        const std::uint8_t* const preview = preview_ ? preview_ + std::size_t(y) * std::size_t(pixels.width) : nullptr;
        for (int x = 0; x < pixels.width; ++x) {
            if (from[x] == NoPoint) {
                to[x] = look_.background;
                continue;
            }
            const auto place = points_.numbers->find(markOf(from[x]));
            const Columns& columns = columns_[place.fragment];
            Colour colour = colours_(columns, place.point);
            if (light) colour = times(colour, static_cast<int>(light[x] * 256 + 0.5F));
            if (columns.mask && isSet(columns.mask, place.point)) colour = tinted(colour, look_.mask);
            if (flashes_ && isOf(look_.flashClass, columns, place.point)) colour = tinted(colour, look_.flash);
            if (preview && preview[x] && isTouched(columns, place.point)) colour = tinted(colour, look_.previewTint);
            to[x] = colour;
        }
    }

private:
    static bool isOf(int code, const Columns& columns, std::size_t i) {
        return columns.classes && codeAt(*columns.classes, i) == static_cast<std::uint32_t>(code);
    }

    bool isTouched(const Columns& columns, std::size_t i) const {
        if (look_.previewClasses.empty() || !columns.classes) return true;
        const std::uint32_t code = codeAt(*columns.classes, i);
        return code < look_.previewClasses.size() && look_.previewClasses[code] != 0;
    }

    const ShownPoints& points_;
    const Grid<float>& light_;
    const Look& look_;
    Colours colours_;
    std::vector<Columns> columns_; // by fragment
    const std::uint8_t* preview_ = nullptr;
    bool flashes_ = false;
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
    inBands(team, colours.height, [&](int first, int end) {
        for (int y = first; y < end; ++y) painter.row(y, colours.row(y));
    });
    return colours;
}

} // namespace corvane
