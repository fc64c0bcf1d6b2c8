// SPDX-License-Identifier: Apache-2.0
#include "laz/Layout.hpp"

#include "laz/Point14.hpp"
#include "laz/Record.hpp"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <numeric>

namespace laz {
namespace {

namespace place { // in the payload
constexpr std::size_t Compressor = 0, Coder = 2, Version = 4, Options = 8, ChunkPoints = 12, SpecialCount = 16,
                      SpecialOffset = Layout::SpecialOffsetPlace, ItemCount = 32, Items = 34;
}
constexpr std::size_t ItemSize = 6;
constexpr std::array<std::uint8_t, 4> WrittenVersion{3, 4, 3, 0}; // of the software that wrote; nobody may rely on it

constexpr std::size_t Point10Size = 20, TimeSize = 8, ColourSize = 6, WaveSize = 29, Point14Size = 30,
                      ColourNearInfraredSize = 8;

/// The items of a format without extra bytes, in the version that is written.
std::vector<Item> itemsOf(std::uint8_t format) {
    using enum ItemKind;
    constexpr Item point10{Point10, Point10Size, 2}, time{GpsTime, TimeSize, 2}, colour{Colour, ColourSize, 2},
        wave{WavePacket, WaveSize, 1}, point14{Point14, Point14Size, 3}, colour14{Colour14, ColourSize, 3},
        infrared{ColourNearInfrared14, ColourNearInfraredSize, 3}, wave14{WavePacket14, WaveSize, 3};
    static const std::array<std::vector<Item>, 11> items{{{point10},
                                                          {point10, time},
                                                          {point10, colour},
                                                          {point10, time, colour},
                                                          {point10, time, wave},
                                                          {point10, time, colour, wave},
                                                          {point14},
                                                          {point14, colour14},
                                                          {point14, infrared},
                                                          {point14, wave14},
                                                          {point14, infrared, wave14}}};
    return items.at(format);
}

bool layeredFormat(std::uint8_t format) { return format >= 6; }

bool readable(const Item& item) {
    switch (item.kind) {
    case ItemKind::ExtraBytes:
    case ItemKind::Point10:
    case ItemKind::GpsTime:
    case ItemKind::Colour:
    case ItemKind::WavePacket: // one version, which some number 2
        return item.version == 1 || item.version == 2;
    default: // version 2 is a prototype of 3
        return item.version >= 2 && item.version <= 4;
    }
}

void checkItems(const Layout& layout, std::uint8_t format, std::size_t recordLength) {
    const auto expected = Layout::standard(format, recordLength).items;
    const bool same = std::ranges::equal(
        layout.items, expected, [](const Item& a, const Item& b) { return a.kind == b.kind && a.size == b.size; });
    if (!same)
        throw Error(fmt::format("found items of {} bytes in all that are not those of point format {} with records of "
                                "{} bytes, expected these",
                                layout.recordLength(), format, recordLength));
    for (const Item& item : layout.items)
        if (!readable(item))
            throw Error(fmt::format("found item {} in version {}, expected version {}", static_cast<int>(item.kind),
                                    item.version, layeredFormat(format) ? "2, 3 or 4" : "1 or 2"));
    const bool first = layout.items.front().version == 1;
    const bool mixed = std::ranges::any_of(layout.items, [&](const Item& item) {
        return item.kind != ItemKind::WavePacket && (item.version == 1) != first;
    });
    if (mixed) throw Error("found items of version 1 beside others, expected all of one version");
}

} // namespace

bool Layer::holds(std::size_t byte, std::uint8_t bits) const {
    const auto within = [&](std::size_t begin, std::size_t size) { return byte >= begin && byte < begin + size; };
    using namespace point14;
    switch (kind) {
    case LayerKind::First:
        return within(X, Z - X) || within(point14::Returns, 1) || (within(Flags, 1) && (bits & ChannelBits) != 0);
    case LayerKind::Height:
        return within(Z, 4);
    case LayerKind::Class:
        return within(Class, 1);
    case LayerKind::Flags:
        return within(Flags, 1) && (bits & ~ChannelBits & 0xFF) != 0;
    case LayerKind::Intensity:
        return within(Intensity, 2);
    case LayerKind::Angle:
        return within(Angle, 2);
    case LayerKind::User:
        return within(User, 1);
    case LayerKind::Source:
        return within(Source, 2);
    case LayerKind::Time:
        return within(Time, TimeSize);
    case LayerKind::Colour:
        return within(item, ColourSize);
    case LayerKind::NearInfrared:
        return within(item + ColourSize, ColourNearInfraredSize - ColourSize);
    case LayerKind::WavePacket:
        return within(item, WaveSize);
    case LayerKind::ExtraByte:
        return byte == item;
    }
    return false;
}

std::size_t Layout::recordLength() const {
    return std::accumulate(items.begin(), items.end(), std::size_t{0},
                           [](std::size_t sum, const Item& item) { return sum + item.size; });
}

std::size_t Layout::smallestChunk() const { return recordLength() + 4; }

std::vector<Layer> Layout::layers() const {
    std::vector<Layer> layers;
    std::size_t place = 0;
    for (const Item& item : items) {
        const bool historic = item.version < 4;
        if (item.kind == ItemKind::Point14)
            for (int kind = 0; kind <= static_cast<int>(LayerKind::Time); ++kind)
                layers.push_back({static_cast<LayerKind>(kind), place, false});
        if (item.kind == ItemKind::Colour14 || item.kind == ItemKind::ColourNearInfrared14)
            layers.push_back({LayerKind::Colour, place, historic});
        if (item.kind == ItemKind::ColourNearInfrared14) layers.push_back({LayerKind::NearInfrared, place, historic});
        if (item.kind == ItemKind::WavePacket14) layers.push_back({LayerKind::WavePacket, place, historic});
        if (item.kind == ItemKind::ExtraBytes14)
            for (std::size_t i = 0; i < item.size; ++i) layers.push_back({LayerKind::ExtraByte, place + i, historic});
        place += item.size;
    }
    return layers;
}

Layout Layout::parse(std::span<const std::byte> payload, std::uint8_t pointFormat, std::size_t recordLength) {
    if (payload.size() < place::Items + ItemSize)
        throw Error(fmt::format("found {} bytes, expected at least {}", payload.size(), place::Items + ItemSize));
    const std::byte* bytes = payload.data();
    const auto compressor = get<std::uint16_t>(bytes + place::Compressor);
    const auto coder = get<std::uint16_t>(bytes + place::Coder);
    const std::size_t count = get<std::uint16_t>(bytes + place::ItemCount);
    if (coder != 0) throw Error(fmt::format("found entropy coder {}, expected 0", coder));
    if (count == 0 || payload.size() != place::Items + count * ItemSize)
        throw Error(fmt::format("found {} items in {} bytes, expected {} bytes for each behind the first {}", count,
                                payload.size(), ItemSize, place::Items));
    const bool layered = compressor == static_cast<std::uint16_t>(Compressor::Layered);
    if (compressor == 0 || compressor > 3 || layered != layeredFormat(pointFormat))
        throw Error(fmt::format("found compressor {}, expected {} for point format {}", compressor,
                                layeredFormat(pointFormat) ? "3" : "1 or 2", pointFormat));

    Layout layout;
    layout.compressor = static_cast<Compressor>(compressor);
    layout.options = get<std::uint32_t>(bytes + place::Options);
    layout.chunkPoints = get<std::uint32_t>(bytes + place::ChunkPoints);
    if (layout.chunkPoints == 0) layout.chunkPoints = Variable;
    layout.specialCount = get<std::int64_t>(bytes + place::SpecialCount);
    layout.specialOffset = get<std::int64_t>(bytes + place::SpecialOffset);
    for (std::size_t i = 0; i < count; ++i) {
        const std::byte* item = bytes + place::Items + i * ItemSize;
        layout.items.push_back({static_cast<ItemKind>(get<std::uint16_t>(item)), get<std::uint16_t>(item + 2),
                                get<std::uint16_t>(item + 4)});
    }
    checkItems(layout, pointFormat, recordLength);
    return layout;
}

Layout Layout::standard(std::uint8_t pointFormat, std::size_t recordLength, std::uint32_t chunkPoints) {
    Layout layout;
    layout.compressor = layeredFormat(pointFormat) ? Compressor::Layered : Compressor::Pointwise;
    layout.chunkPoints = chunkPoints;
    layout.items = itemsOf(pointFormat);
    const std::size_t size = layout.recordLength();
    if (recordLength < size)
        throw Error(fmt::format("found records of {} bytes, expected at least the {} of point format {}", recordLength,
                                size, pointFormat));
    if (recordLength > size)
        layout.items.push_back({layout.layered() ? ItemKind::ExtraBytes14 : ItemKind::ExtraBytes,
                                static_cast<std::uint16_t>(recordLength - size), layout.items.front().version});
    return layout;
}

std::vector<std::byte> Layout::encode() const {
    std::vector<std::byte> payload(place::Items + items.size() * ItemSize);
    std::byte* bytes = payload.data();
    put(bytes + place::Compressor, static_cast<std::uint16_t>(compressor));
    put(bytes + place::Version, WrittenVersion);
    put(bytes + place::Options, options);
    put(bytes + place::ChunkPoints, chunkPoints);
    put(bytes + place::SpecialCount, specialCount);
    put(bytes + place::SpecialOffset, specialOffset);
    put(bytes + place::ItemCount, static_cast<std::uint16_t>(items.size()));
    for (std::size_t i = 0; i < items.size(); ++i) {
        std::byte* item = bytes + place::Items + i * ItemSize;
        put(item, static_cast<std::uint16_t>(items[i].kind));
        put(item + 2, items[i].size);
        put(item + 4, items[i].version);
    }
    return payload;
}

} // namespace laz
