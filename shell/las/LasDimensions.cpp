// SPDX-License-Identifier: Apache-2.0
#include "las/LasDimensions.hpp"

#include "base/NearestName.hpp"
#include "base/Text.hpp"
#include "las/LittleEndian.hpp"

#include <algorithm>
#include <array>
#include <cassert>
#include <cctype>
#include <cmath>
#include <fmt/format.h>
#include <unordered_set>

namespace corvane {
namespace {

struct StorageFacts {
    std::string_view name;
    std::size_t size; ///< bytes
};
/// In the order of Storage, which is also that of the data types of Extra Bytes, from 1 on.
constexpr std::array<StorageFacts, 10> Storages{{{"uint8", 1},
                                                 {"int8", 1},
                                                 {"uint16", 2},
                                                 {"int16", 2},
                                                 {"uint32", 4},
                                                 {"int32", 4},
                                                 {"uint64", 8},
                                                 {"int64", 8},
                                                 {"float", 4},
                                                 {"double", 8}}};

/// A dimension of a block; packed ones have their bits.
struct Entry {
    const char* name;
    std::size_t offset; ///< in the block
    Storage storage;
    std::uint8_t firstBit = 0;
    std::uint8_t bits = 0;
};

/// Dimensions that stand together in every format that has them.
struct Block {
    std::size_t size; ///< bytes
    std::span<const Entry> entries;
};

constexpr Entry LegacyEntries[] = {{"X", 0, Storage::Int32},
                                   {"Y", 4, Storage::Int32},
                                   {"Z", 8, Storage::Int32},
                                   {"Intensity", 12, Storage::UInt16},
                                   {"ReturnNumber", 14, Storage::UInt8, 0, 3},
                                   {"NumberOfReturns", 14, Storage::UInt8, 3, 3},
                                   {"ScanDirectionFlag", 14, Storage::UInt8, 6, 1},
                                   {"EdgeOfFlightLine", 14, Storage::UInt8, 7, 1},
                                   {ClassificationName, 15, Storage::UInt8, 0, 5},
                                   {"Synthetic", 15, Storage::UInt8, 5, 1},
                                   {"KeyPoint", 15, Storage::UInt8, 6, 1},
                                   {"Withheld", 15, Storage::UInt8, 7, 1},
                                   {"ScanAngleRank", 16, Storage::Int8},
                                   {"UserData", 17, Storage::UInt8},
                                   {"PointSourceId", 18, Storage::UInt16}};
constexpr Entry ExtendedEntries[] = {{"X", 0, Storage::Int32},
                                     {"Y", 4, Storage::Int32},
                                     {"Z", 8, Storage::Int32},
                                     {"Intensity", 12, Storage::UInt16},
                                     {"ReturnNumber", 14, Storage::UInt8, 0, 4},
                                     {"NumberOfReturns", 14, Storage::UInt8, 4, 4},
                                     {"Synthetic", 15, Storage::UInt8, 0, 1},
                                     {"KeyPoint", 15, Storage::UInt8, 1, 1},
                                     {"Withheld", 15, Storage::UInt8, 2, 1},
                                     {"Overlap", 15, Storage::UInt8, 3, 1},
                                     {"ScanChannel", 15, Storage::UInt8, 4, 2},
                                     {"ScanDirectionFlag", 15, Storage::UInt8, 6, 1},
                                     {"EdgeOfFlightLine", 15, Storage::UInt8, 7, 1},
                                     {ClassificationName, 16, Storage::UInt8},
                                     {"UserData", 17, Storage::UInt8},
                                     {"ScanAngle", 18, Storage::Int16},
                                     {"PointSourceId", 20, Storage::UInt16},
                                     {"GpsTime", 22, Storage::Double}};
constexpr Entry TimeEntries[] = {{"GpsTime", 0, Storage::Double}};
constexpr Entry ColourEntries[] = {
    {"Red", 0, Storage::UInt16}, {"Green", 2, Storage::UInt16}, {"Blue", 4, Storage::UInt16}};
constexpr Entry InfraredEntries[] = {{"Infrared", 0, Storage::UInt16}};
constexpr Entry WaveEntries[] = {{"WavePacketIndex", 0, Storage::UInt8}, {"WavePacketOffset", 1, Storage::UInt64},
                                 {"WavePacketSize", 9, Storage::UInt32}, {"WavePacketLocation", 13, Storage::Float},
                                 {"WaveXt", 17, Storage::Float},         {"WaveYt", 21, Storage::Float},
                                 {"WaveZt", 25, Storage::Float}};

constexpr Block Legacy{20, LegacyEntries};
constexpr Block Extended{30, ExtendedEntries};
constexpr Block Time{8, TimeEntries};
constexpr Block Colour{6, ColourEntries};
constexpr Block Infrared{2, InfraredEntries};
constexpr Block Wave{29, WaveEntries};
constexpr Block None{0, {}};

/// The blocks of each point format, one behind the other.
constexpr std::array<std::array<Block, 4>, 11> Formats{{{Legacy, None, None, None},
                                                        {Legacy, Time, None, None},
                                                        {Legacy, Colour, None, None},
                                                        {Legacy, Time, Colour, None},
                                                        {Legacy, Time, Wave, None},
                                                        {Legacy, Time, Colour, Wave},
                                                        {Extended, None, None, None},
                                                        {Extended, Colour, None, None},
                                                        {Extended, Colour, Infrared, None},
                                                        {Extended, Wave, None, None},
                                                        {Extended, Colour, Infrared, Wave}}};

/// Other names under which tools know dimensions.
constexpr std::pair<const char*, const char*> Aliases[]{
    {"Class", ClassificationName}, {"Cls", ClassificationName}, {"ScannerChannel", "ScanChannel"}};

/// One descriptor of an Extra Bytes record: where its fields lie, and what they say.
struct Descriptor {
    static constexpr std::size_t Size = 192;
    static constexpr std::uint8_t Undocumented = 0; ///< its options are a number of bytes
    static constexpr std::uint8_t LastType = 30;    ///< ten plain types, then the same as arrays of two and of three
    static constexpr std::uint8_t HasScale = 8, HasOffset = 16;

    std::uint8_t type, options;
    std::string name;
    std::array<double, 3> scales, shifts;

    explicit Descriptor(std::span<const std::byte> bytes)
        : type(load<std::uint8_t>(bytes, 2)),
          options(load<std::uint8_t>(bytes, 3)),
          name(escaped(loadText(bytes, 4, 32))),
          scales(load<std::array<double, 3>>(bytes, 112)),
          shifts(load<std::array<double, 3>>(bytes, 136)) {}

    Storage storage() const { return static_cast<Storage>((type - 1) % Storages.size()); }
    std::size_t elements() const { return type == Undocumented ? 0 : (type - 1) / Storages.size() + 1; }
    std::size_t bytes() const { return type == Undocumented ? options : elements() * sizeOf(storage()); }
};

/// Turns descriptors into dimensions, one behind the other.
class ExtraReader {
public:
    ExtraReader(std::size_t firstByte, std::size_t recordLength, const std::vector<Dimension>& standard,
                std::vector<std::string>& warnings)
        : position_(firstByte), recordLength_(recordLength), warnings_(warnings) {
        for (const auto& dimension : standard) taken_.insert(lowered(dimension.name));
    }

    /// False when neither this descriptor nor any behind it can be placed.
    bool add(const Descriptor& descriptor, std::size_t number) {
        if (descriptor.type > Descriptor::LastType) {
            warn(number, descriptor,
                 fmt::format("has the data type {}, expected 0 to {}", descriptor.type, Descriptor::LastType));
            return false;
        }
        if (position_ > recordLength_ || descriptor.bytes() > recordLength_ - position_) {
            warn(number, descriptor,
                 fmt::format("needs {} bytes from byte {} of the point record, expected an end within its {} bytes",
                             descriptor.bytes(), position_, recordLength_));
            return false;
        }
        for (std::size_t element = 0; element < descriptor.elements(); ++element)
            addElement(descriptor, number, element);
        if (descriptor.type == Descriptor::Undocumented) position_ += descriptor.bytes();
        return true;
    }

    std::vector<Dimension> take() { return std::move(dimensions_); }

private:
    void addElement(const Descriptor& descriptor, std::size_t number, std::size_t element) {
        Dimension dimension;
        auto name = descriptor.name.empty() ? fmt::format("ExtraByte{}", position_) : descriptor.name;
        if (descriptor.elements() > 1) name += fmt::format("[{}]", element);
        dimension.name = freeName(std::move(name), descriptor, number);
        dimension.storage = descriptor.storage();
        dimension.offset = position_;
        if (descriptor.options & Descriptor::HasScale) dimension.scale = descriptor.scales[element];
        if (descriptor.options & Descriptor::HasOffset) dimension.shift = descriptor.shifts[element];
        if (dimension.scale == 0 || !std::isfinite(dimension.scale) || !std::isfinite(dimension.shift)) {
            warn(number, descriptor,
                 fmt::format(
                     "has the scale {} and the offset {}, expected finite numbers and a scale other than 0; its stored "
                     "values are taken as they are",
                     dimension.scale, dimension.shift));
            dimension.scale = 1;
            dimension.shift = 0;
        }
        position_ += sizeOf(dimension.storage);
        dimensions_.push_back(std::move(dimension));
    }

    /// Names are looked up without regard to case, so two that differ in nothing else clash.
    std::string freeName(std::string name, const Descriptor& descriptor, std::size_t number) {
        if (taken_.insert(lowered(name)).second) return name;
        name += fmt::format("_{}", position_);
        while (!taken_.insert(lowered(name)).second) name += '_';
        warn(number, descriptor, fmt::format("has a name that is taken; it is called {}", name));
        return name;
    }

    void warn(std::size_t number, const Descriptor& descriptor, const std::string& what) {
        warnings_.push_back(fmt::format("Extra bytes descriptor {} ({}) {}.", number, descriptor.name, what));
    }

    static std::string lowered(std::string text) {
        std::ranges::transform(text, text.begin(),
                               [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
        return text;
    }

    std::size_t position_; ///< of the next value, in the point record
    std::size_t recordLength_;
    std::vector<std::string>& warnings_;
    std::unordered_set<std::string> taken_;
    std::vector<Dimension> dimensions_;
};

} // namespace

std::size_t sizeOf(Storage storage) { return Storages[static_cast<std::size_t>(storage)].size; }

std::string_view nameOf(Storage storage) { return Storages[static_cast<std::size_t>(storage)].name; }

laz::RecordBytes Dimension::place() const {
    const auto mask = packed() ? static_cast<std::uint8_t>(largestValue() << firstBit) : std::uint8_t{0xFF};
    return {offset, offset + sizeOf(storage), mask};
}

std::uint32_t Dimension::largestValue() const {
    if (packed()) return (1U << bits) - 1;
    if (storage == Storage::UInt8) return 0xFF;
    return storage == Storage::UInt16 ? 0xFFFF : 0;
}

std::size_t recordLengthOf(std::uint8_t pointFormat) {
    assert(pointFormat < Formats.size());
    std::size_t length = 0;
    for (const auto& block : Formats[pointFormat]) length += block.size;
    return length;
}

std::vector<Dimension> dimensionsOf(std::uint8_t pointFormat) {
    assert(pointFormat < Formats.size());
    std::vector<Dimension> dimensions;
    std::size_t start = 0;
    for (const auto& block : Formats[pointFormat]) {
        for (const auto& entry : block.entries)
            dimensions.push_back({entry.name, entry.storage, start + entry.offset, entry.firstBit, entry.bits});
        start += block.size;
    }
    return dimensions;
}

std::string withoutAlias(const std::string& name) {
    for (const auto& [alias, dimension] : Aliases)
        if (sameName(name, alias)) return dimension;
    return name;
}

std::vector<Dimension> extraDimensions(std::span<const std::byte> payload, std::size_t firstByte,
                                       std::size_t recordLength, const std::vector<Dimension>& standard,
                                       std::vector<std::string>& warnings) {
    if (payload.size() % Descriptor::Size != 0)
        warnings.push_back(
            fmt::format("The Extra Bytes record has {} bytes, expected a multiple of {}; the last {} are "
                        "ignored.",
                        payload.size(), Descriptor::Size, payload.size() % Descriptor::Size));
    ExtraReader reader(firstByte, recordLength, standard, warnings);
    for (std::size_t number = 1; payload.size() >= Descriptor::Size; ++number) {
        if (!reader.add(Descriptor(payload.first(Descriptor::Size)), number)) break;
        payload = payload.subspan(Descriptor::Size);
    }
    return reader.take();
}

} // namespace corvane
