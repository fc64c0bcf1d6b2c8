// SPDX-License-Identifier: Apache-2.0
#include "plot/Colouring.hpp"

#include "base/Failure.hpp"
#include "base/NearestName.hpp"
#include "las/PointCodec.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <fmt/format.h>

namespace corvane {
namespace {

struct Word {
    const char* word;
    const char* dimension;
    const char* title;
};
constexpr std::array Words{Word{"class", ClassificationName, "Classes"}, Word{"height", "Z", "Height"},
                           Word{"intensity", "Intensity", "Intensity"}, Word{"return", "ReturnNumber", "Return"}};
constexpr std::array Channels{"Red", "Green", "Blue"};

const Dimension& dimensionOf(const LasFile& las, const std::string& by) {
    std::string wanted = withoutAlias(by);
    for (const Word& word : Words)
        if (sameName(by, word.word)) wanted = word.dimension;
    for (const Dimension& dimension : las.dimensions)
        if (sameName(dimension.name, wanted)) return dimension;
    std::vector<std::string> known{"rgb"};
    for (const Word& word : Words) known.push_back(word.word);
    for (const Dimension& dimension : las.dimensions) known.push_back(dimension.name);
    throw UsageError(fmt::format("--by {}: {} has no such field. {}", by, las.file->path(), suggestNames(by, known)));
}

/// Calls `use(columns)` with some points from all over the survey.
template <class Use>
void sample(const LasFile& las, const std::vector<std::string>& dimensions, Use use) {
    constexpr std::uint64_t places = 16, points = 512;
    RecordColumns columns(las, nullptr, dimensions);
    const std::uint64_t count = las.points->count();
    const auto ranges = las.points->ranges(std::max<std::size_t>(count / places, 1));
    std::vector<std::byte> records;
    for (std::size_t i = 0; i < ranges.size(); i += std::max<std::size_t>(ranges.size() / places, 1)) {
        records.resize(std::min<std::size_t>(ranges[i].count, points) * las.points->recordLength());
        las.points->read(ranges[i].first, records, columns.wanted());
        columns.take(records);
        use(columns);
    }
}

} // namespace

Colouring::Colouring(const LasFile& las, const std::string& by) {
    if (sameName(by, "rgb")) {
        for (const char* channel : Channels)
            if (!las.find(channel))
                throw UsageError(fmt::format("--by rgb: the points of {} have no colours; point format {} has no room "
                                             "for them. Choose class, height, intensity, return or another field.",
                                             las.file->path(), las.header.pointFormat));
        kind_ = Kind::Colours;
        name_ = "colour";
        dimensions_.assign(Channels.begin(), Channels.end());
        findBrightest(las);
        return;
    }
    const Dimension& dimension = dimensionOf(las, by);
    name_ = dimension.name;
    for (const Word& word : Words)
        if (dimension.name == word.dimension) name_ = word.word;
    dimensions_ = {dimension.name};
    const bool whole = dimension.largestValue() > 0 && !dimension.scaled() && dimension.name != "Intensity";
    kind_ = whole ? Kind::Values : Kind::Numbers;
    if (whole)
        values_ = dimension.largestValue() + 1;
    else
        findOrigin(las);
}

bool Colouring::isClass() const { return kind_ == Kind::Values && dimensions_.front() == ClassificationName; }

std::string Colouring::title() const {
    for (const Word& word : Words)
        if (name_ == word.word) return word.title;
    return name_;
}

void Colouring::findOrigin(const LasFile& las) {
    if (las.points->count() == 0) return;
    std::vector<std::byte> record(las.points->recordLength());
    RecordColumns columns(las, nullptr, dimensions_);
    las.points->read(0, record, columns.wanted());
    columns.take(record);
    const double first = columns.numbers(0).front();
    origin_ = std::isfinite(first) ? first : 0;
}

/// Colours have 16 bits, of which some writers use the lower 8.
void Colouring::findBrightest(const LasFile& las) {
    double most = 0;
    sample(las, dimensions_, [&](const RecordColumns& columns) {
        for (std::size_t channel = 0; channel < Channels.size(); ++channel)
            for (const double value : columns.numbers(channel)) most = std::max(most, value);
    });
    brightest_ = most > 0xFF ? 0xFFFF : 0xFF;
}

std::uint32_t Colouring::colourAt(const RecordColumns& columns, std::size_t point) const {
    std::uint32_t colour = 0xFF;
    for (std::size_t channel = 0; channel < Channels.size(); ++channel) {
        const double part = std::min(columns.numbers(channel)[point] / brightest_, 1.0);
        colour = colour << 8 | static_cast<std::uint32_t>(part * 255 + 0.5);
    }
    return colour;
}

void Colouring::mark(const RecordColumns& columns, std::vector<std::uint32_t>& marks) const {
    const auto& selected = columns.selected();
    const std::size_t before = marks.size();
    marks.resize(before + selected.size());
    std::uint32_t* mark = marks.data() + before;
    if (kind_ == Kind::Colours) {
        for (const std::uint32_t i : selected) *mark++ = colourAt(columns, i);
        return;
    }
    const auto numbers = columns.numbers(0);
    if (kind_ == Kind::Values)
        for (const std::uint32_t i : selected) *mark++ = static_cast<std::uint32_t>(numbers[i]);
    else
        for (const std::uint32_t i : selected)
            *mark++ = std::bit_cast<std::uint32_t>(static_cast<float>(numbers[i] - origin_));
}

double Colouring::numberOf(std::uint32_t mark) const {
    return kind_ == Kind::Values ? double(mark) : origin_ + double(std::bit_cast<float>(mark));
}

} // namespace corvane
