// SPDX-License-Identifier: Apache-2.0
#include "las/CompatibilityForm.hpp"

#include "las/LasDimensions.hpp"
#include "las/LittleEndian.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <fmt/format.h>

namespace corvane {
namespace {

constexpr std::size_t RecordBytes = 156; // of the VLR's payload
constexpr std::size_t CountsPlace = 28;  // in it
constexpr std::uint8_t LastVersion = 3;  // 1.4 and later need no such form
constexpr std::size_t DescriptorBytes = 192, NamePlace = 4, NameBytes = 32;

/// An extra dimension of the form.
struct Own {
    const char* name;
    Storage storage;
};
constexpr Own Angle{"LAS 1.4 scan angle", Storage::Int16};
constexpr Own Returns{"LAS 1.4 extended returns", Storage::UInt8};
constexpr Own Classes{"LAS 1.4 classification", Storage::UInt8};
constexpr Own Flags{"LAS 1.4 flags and channel", Storage::UInt8};
constexpr Own Infrared{"LAS 1.4 NIR band", Storage::UInt16};
constexpr Own Always[]{Angle, Returns, Classes, Flags};

/// Where fields stand that are not the same in both.
namespace stored {
constexpr std::size_t Returns = 14, Class = 15, Rank = 16, UserData = 17, Source = 18, Colour = 28;
}
namespace restored {
constexpr std::size_t Returns = 14, Flags = 15, Class = 16, UserData = 17, Angle = 18, Source = 20, Colour = 30,
                      Infrared = 36;
}
constexpr std::size_t SourceAndTime = 10, ColourBytes = 6, InfraredBytes = 2, WaveBytes = 29;

constexpr unsigned LineBits = 0xC0;       // direction and edge, in the byte of the returns, or of the flags
constexpr unsigned LegacyClass = 31;      // and its bits
constexpr unsigned OverlapAndChannel = 7; // of the extra byte
constexpr unsigned LegacyFlags = 7;       // of the byte of the flags: those that the stored format has, too
constexpr unsigned MostReturns = 7;       // that three bits hold

bool hasColour(std::uint8_t storedFormat) { return storedFormat == 3 || storedFormat == 5; }
bool hasWaves(std::uint8_t storedFormat) { return storedFormat == 4 || storedFormat == 5; }
bool canStand(std::uint8_t format) { return format == 1 || hasColour(format) || hasWaves(format); }

unsigned at(const std::byte* record, std::size_t place) { return std::to_integer<unsigned>(record[place]); }

template <class T>
T loadAt(const std::byte* record, std::size_t place) {
    T value;
    std::memcpy(&value, record + place, sizeof value);
    return value;
}

void storeAt(std::byte* record, std::size_t place, std::uint16_t value) {
    std::memcpy(record + place, &value, sizeof value);
}

/// The bits of the mask, all others as they were.
void setBits(std::byte& byte, unsigned mask, unsigned bits) {
    byte = (byte & ~std::byte(mask)) | std::byte(bits & mask);
}

constexpr float AngleStep = 0.006f; // degrees

std::int32_t angleOf(std::int8_t rank) { return static_cast<std::int32_t>(std::lround(float(rank) / AngleStep)); }

std::int8_t rankOf(std::int16_t angle) {
    return static_cast<std::int8_t>(std::clamp(std::lround(AngleStep * float(angle)), -128l, 127l));
}

/// The return number that three bits hold for return `number` of `count`, told from the other end where there are more:
/// the last ones stay the last ones.
unsigned legacyReturn(unsigned number, unsigned count) {
    if (count <= MostReturns) return std::min(number, MostReturns);
    if (number <= 4) return number;
    if (number >= count) return MostReturns;
    return MostReturns - std::min(count - number, 3u);
}

std::string nameOf(std::span<const std::byte> descriptor) { return loadText(descriptor, NamePlace, NameBytes); }

std::ptrdiff_t timesNamed(std::span<const std::byte> extraBytes, const Own& own) {
    std::ptrdiff_t times = 0;
    for (; extraBytes.size() >= DescriptorBytes; extraBytes = extraBytes.subspan(DescriptorBytes))
        times += nameOf(extraBytes) == own.name;
    return times;
}

/// Where the extra bytes are that every file of the form has; none unless each is there once, in its type.
std::optional<CompatibilityForm::Places> placesIn(const LasHeader& header, std::span<const std::byte> extraBytes) {
    std::vector<std::string> ignored; // those who show the dimensions say it
    const auto dimensions =
        extraDimensions(extraBytes, recordLengthOf(header.pointFormat), header.recordLength, {}, ignored);
    const auto placeOf = [&](const Own& own) -> std::optional<std::size_t> {
        const auto found = std::ranges::find(dimensions, own.name, &Dimension::name);
        const bool sound =
            found != dimensions.end() && found->storage == own.storage && timesNamed(extraBytes, own) == 1;
        return sound ? std::optional(found->offset) : std::nullopt;
    };
    const auto angle = placeOf(Angle), returns = placeOf(Returns), classes = placeOf(Classes), flags = placeOf(Flags);
    if (!angle || !returns || !classes || !flags) return std::nullopt;
    CompatibilityForm::Places places{*angle, *returns, *classes, *flags, std::nullopt};
    if (hasColour(header.pointFormat)) places.infrared = placeOf(Infrared);
    const bool needed = hasColour(header.pointFormat) && hasWaves(header.pointFormat);
    return needed && !places.infrared ? std::nullopt : std::optional(places);
}

} // namespace

bool isCompatibilityRecord(const LasRecord& record) {
    return record.userId == "lascompatible" && record.recordId == 22204;
}

std::shared_ptr<const CompatibilityForm> CompatibilityForm::find(const LasHeader& header,
                                                                 const std::vector<LasRecord>& vlrs,
                                                                 std::span<const std::byte> extraBytes,
                                                                 std::vector<std::string>& warnings) {
    const auto record = std::ranges::find_if(vlrs, isCompatibilityRecord);
    const bool named = std::ranges::all_of(Always, [&](const Own& own) { return timesNamed(extraBytes, own) > 0; });
    if (record == vlrs.end() && !named) return nullptr;
    const auto refuse = [&](const std::string& found, const std::string& expected) {
        warnings.push_back(fmt::format("The file seems to hold points of a later format in the form of point format "
                                       "{}, but has {}, expected {}; they are shown as they are stored.",
                                       header.pointFormat, found, expected));
        return nullptr;
    };
    if (record == vlrs.end()) return refuse("extra bytes of that form alone", "a VLR \"lascompatible\" 22204, too");
    if (record->payloadLength < RecordBytes)
        return refuse(fmt::format("a VLR \"lascompatible\" 22204 of {} bytes", record->payloadLength),
                      fmt::format("at least {}", RecordBytes));
    if (header.versionMinor > LastVersion || !canStand(header.pointFormat))
        return refuse(fmt::format("version {} and point format {}", header.version(), header.pointFormat),
                      "a version up to 1.3 and the point format 1, 3, 4 or 5");
    const auto places = placesIn(header, extraBytes);
    if (!places)
        return refuse(fmt::format("records of {} bytes with other extra bytes", header.recordLength),
                      fmt::format("those that are called \"{}\", \"{}\", \"{}\" and \"{}\", and in point format 5 "
                                  "\"{}\", too, each once and in its type",
                                  Angle.name, Returns.name, Classes.name, Flags.name, Infrared.name));
    return std::make_shared<const CompatibilityForm>(header, *places, record->payloadOffset + CountsPlace);
}

CompatibilityForm::CompatibilityForm(const LasHeader& header, const Places& places, std::uint64_t countsOffset)
    : storedFormat_(header.pointFormat),
      storedLength_(header.recordLength),
      places_(places),
      countsOffset_(countsOffset) {
    share(0, 0, stored::Returns); // coordinates and intensity
    share(stored::UserData, restored::UserData, 1);
    share(stored::Source, restored::Source, SourceAndTime);
    if (hasColour(storedFormat_)) share(stored::Colour, restored::Colour, ColourBytes);
    if (places_.infrared) share(*places_.infrared, restored::Infrared, InfraredBytes);
    const std::size_t storedStandard = recordLengthOf(storedFormat_), standard = recordLengthOf(pointFormat());
    if (hasWaves(storedFormat_)) share(storedStandard - WaveBytes, standard - WaveBytes, WaveBytes);
    std::size_t next = standard;
    for (std::size_t byte = storedStandard; byte < storedLength_; ++byte)
        if (!isOwn(byte)) share(byte, next++, 1);
}

std::uint8_t CompatibilityForm::pointFormat() const {
    if (hasWaves(storedFormat_)) return hasColour(storedFormat_) ? 10 : 9;
    if (!hasColour(storedFormat_)) return 6;
    return places_.infrared ? 8 : 7;
}

std::size_t CompatibilityForm::recordLength() const { return shared_.back().restored + shared_.back().bytes; }

bool CompatibilityForm::isOwn(std::size_t byte) const {
    const auto within = [&](std::size_t place, const Own& own) {
        return byte >= place && byte < place + sizeOf(own.storage);
    };
    return within(places_.angle, Angle) || within(places_.returns, Returns) || within(places_.classes, Classes) ||
           within(places_.flags, Flags) || (places_.infrared && within(*places_.infrared, Infrared));
}

/// These bytes are the same in both; they follow those that were named before, in the restored record or not.
void CompatibilityForm::share(std::size_t stored, std::size_t restored, std::size_t bytes) {
    if (!shared_.empty()) {
        Shared& last = shared_.back();
        if (last.stored + last.bytes == stored && last.restored + last.bytes == restored) {
            last.bytes += bytes;
            return;
        }
    }
    shared_.push_back({stored, restored, bytes});
}

std::uint64_t CompatibilityForm::statedCount(const InputFile& file) const {
    std::array<std::byte, sizeof(std::uint64_t)> bytes;
    file.read(countsOffset_, bytes);
    return load<std::uint64_t>(bytes, 0);
}

LasHeader CompatibilityForm::restored(const InputFile& file, LasHeader header) const {
    std::array<std::byte, sizeof header.returnCounts> bytes;
    file.read(countsOffset_ + sizeof header.pointCount, bytes);
    header.returnCounts = load<decltype(header.returnCounts)>(bytes, 0);
    header.pointFormat = pointFormat();
    header.recordLength = static_cast<std::uint16_t>(recordLength());
    return header;
}

std::vector<std::byte> CompatibilityForm::countsOf(const LasHeader& header) {
    std::vector<std::byte> bytes(sizeof header.pointCount + sizeof header.returnCounts);
    corvane::store(std::span(bytes), 0, header.pointCount);
    corvane::store(std::span(bytes), sizeof header.pointCount, header.returnCounts);
    return bytes;
}

std::vector<std::byte> CompatibilityForm::withoutOwn(std::span<const std::byte> extraBytes) const {
    std::vector<std::byte> others;
    for (; !extraBytes.empty(); extraBytes = extraBytes.subspan(std::min(DescriptorBytes, extraBytes.size()))) {
        const auto descriptor = extraBytes.first(std::min(DescriptorBytes, extraBytes.size()));
        const bool whole = descriptor.size() == DescriptorBytes;
        const std::string name = whole ? nameOf(descriptor) : "";
        const bool own = std::ranges::any_of(Always, [&](const Own& one) { return name == one.name; }) ||
                         (places_.infrared && name == Infrared.name);
        if (!own) others.insert(others.end(), descriptor.begin(), descriptor.end());
    }
    return others;
}

void CompatibilityForm::restore(std::span<const std::byte> stored, std::span<std::byte> restored) const {
    const std::size_t stride = recordLength();
    const std::byte* from = stored.data();
    std::byte* to = restored.data();
    for (std::size_t left = restored.size() / stride; left > 0; --left, from += storedLength_, to += stride) {
        for (const Shared& same : shared_) std::memcpy(to + same.restored, from + same.stored, same.bytes);
        const unsigned counts = at(from, stored::Returns), more = at(from, places_.returns);
        const unsigned number = (counts & 7) + (more >> 4), count = (counts >> 3 & 7) + (more & 15);
        const unsigned kind = at(from, stored::Class);
        to[restored::Returns] = std::byte((number & 15) | (count & 15) << 4);
        to[restored::Flags] =
            std::byte((kind >> 5) | (at(from, places_.flags) & OverlapAndChannel) << 3 | (counts & LineBits));
        to[restored::Class] = std::byte((kind & LegacyClass) + at(from, places_.classes));
        const std::int32_t angle = angleOf(loadAt<std::int8_t>(from, stored::Rank));
        storeAt(to, restored::Angle, static_cast<std::uint16_t>(loadAt<std::int16_t>(from, places_.angle) + angle));
    }
}

void CompatibilityForm::edit(std::span<std::byte> stored, const Change& change) const {
    constexpr std::size_t piece = 4096; // records
    std::vector<std::byte> before, after;
    for (std::size_t first = 0; first * storedLength_ < stored.size(); first += piece) {
        const auto rest = stored.subspan(first * storedLength_);
        const auto records = rest.first(std::min(piece * storedLength_, rest.size()));
        before.resize(records.size() / storedLength_ * recordLength());
        restore(records, before);
        after = before;
        change(after, first);
        store(before, after, records);
    }
}

/// Puts into the stored records what differs between what they stand for and what they shall stand for.
void CompatibilityForm::store(std::span<const std::byte> before, std::span<const std::byte> after,
                              std::span<std::byte> stored) const {
    const std::size_t stride = recordLength();
    for (std::size_t i = 0; i < stored.size() / storedLength_; ++i) {
        const std::byte *was = before.data() + i * stride, *is = after.data() + i * stride;
        if (std::memcmp(was, is, stride) != 0) storeRecord(was, is, stored.data() + i * storedLength_);
    }
}

/// Fields that stay are left alone, since other writers may share them out differently.
void CompatibilityForm::storeRecord(const std::byte* before, const std::byte* after, std::byte* record) const {
    for (const Shared& same : shared_) std::memcpy(record + same.stored, after + same.restored, same.bytes);
    const unsigned flags = at(after, restored::Flags);
    setBits(record[stored::Class], LegacyFlags << 5, flags << 5);
    setBits(record[places_.flags], OverlapAndChannel, flags >> 3);
    setBits(record[stored::Returns], LineBits, flags);
    if (before[restored::Class] != after[restored::Class]) {
        const unsigned value = at(after, restored::Class);
        setBits(record[stored::Class], LegacyClass, value > LegacyClass ? 0 : value);
        record[places_.classes] = std::byte(value > LegacyClass ? value : 0);
    }
    if (before[restored::Returns] != after[restored::Returns]) {
        const unsigned number = at(after, restored::Returns) & 15, count = at(after, restored::Returns) >> 4;
        const unsigned legacy = legacyReturn(number, count), legacyCount = std::min(count, MostReturns);
        setBits(record[stored::Returns], ~LineBits, legacy | legacyCount << 3);
        record[places_.returns] = std::byte((number - legacy) << 4 | (count - legacyCount));
    }
    const auto angle = loadAt<std::int16_t>(after, restored::Angle);
    if (loadAt<std::int16_t>(before, restored::Angle) != angle) {
        const std::int8_t rank = rankOf(angle);
        record[stored::Rank] = static_cast<std::byte>(rank);
        storeAt(record, places_.angle, static_cast<std::uint16_t>(angle - angleOf(rank)));
    }
}

} // namespace corvane
