// SPDX-License-Identifier: Apache-2.0
#include "check/FileComparison.hpp"

#include "las/HeaderPlaces.hpp"
#include "las/LittleEndian.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <map>

namespace corvane {
namespace {

/// Bytes of a file.
struct Extent {
    std::uint64_t begin = 0, end = 0;
    std::uint64_t length() const { return end - begin; }
};

struct NamedRecord {
    std::string name;
    const LasRecord* record;
    Extent header;

    Extent payload() const { return {record->payloadOffset, record->payloadOffset + record->payloadLength}; }
};

std::uint64_t endOf(const std::vector<LasRecord>& records, std::uint64_t start) {
    return records.empty() ? start : records.back().payloadOffset + records.back().payloadLength;
}

/// Whether a record only says how the points are packed, which is no difference between surveys.
bool isOfPacking(const LasFile& las, const LasRecord& record) {
    return las.compression() && (isCompressionRecord(record) || isCopcRecord(record));
}

/// Records one behind the other from `start`, but for those of the packing.
std::vector<NamedRecord> named(const LasFile& las, const std::vector<LasRecord>& records, std::uint64_t start) {
    std::vector<NamedRecord> result;
    std::map<std::string, int> occurrences;
    for (const LasRecord& record : records) {
        std::string name = fmt::format("{}/{}", record.userId, record.recordId);
        const int occurrence = ++occurrences[name];
        if (occurrence > 1) name += fmt::format("#{}", occurrence);
        result.push_back({name, &record, {start, record.payloadOffset}});
        start = result.back().payload().end;
    }
    std::erase_if(result, [&](const NamedRecord& one) { return isOfPacking(las, *one.record); });
    return result;
}

/// As the header would be if the points were not packed; the places of things then say nothing and are left out.
std::vector<HeaderField> headerFields(const LasFile& las, bool places) {
    std::vector<std::byte> bytes(las.header.headerSize);
    las.file->read(0, bytes);
    const auto packing = [&](const LasRecord& record) { return isOfPacking(las, record); };
    store(std::span(bytes), place::PointFormat, las.header.pointFormat);
    store(std::span(bytes), place::RecordLength, las.header.recordLength);
    store(std::span(bytes), place::VlrCount,
          static_cast<std::uint32_t>(las.vlrs.size() - std::ranges::count_if(las.vlrs, packing)));
    if (las.header.versionMinor >= 4)
        store(std::span(bytes), place::EvlrCount,
              static_cast<std::uint32_t>(las.evlrs.size() - std::ranges::count_if(las.evlrs, packing)));
    auto fields = LasHeader::fieldsIn(bytes);
    if (!places)
        std::erase_if(fields, [](const HeaderField& field) {
            return field.offset == place::OffsetToPoints || field.offset == place::WaveformStart ||
                   field.offset == place::EvlrStart;
        });
    return fields;
}

/// Whether things stand where they do for no other reason than how long they are.
bool placesTell(const LasFile& before, const LasFile& after) { return !before.compression() && !after.compression(); }

struct OtherBytes {
    std::string name;
    Extent extent;
};

std::vector<OtherBytes> otherBytes(const LasFile& las) {
    const LasHeader& header = las.header;
    const HeaderField last = headerFields(las, true).back();
    const std::uint64_t size = las.file->size();
    const std::uint64_t evlrs = las.evlrs.empty() ? size : header.evlrStart;
    return {{"HeaderTail", {last.offset + last.bytes.size(), header.headerSize}},
            {"BytesBeforePoints", {endOf(las.vlrs, header.headerSize), header.offsetToPoints}},
            {"BytesBehindPoints", {las.pointsEnd, evlrs}},
            {"BytesBehindEvlrs", {endOf(las.evlrs, size), size}}};
}

class PartComparison {
public:
    PartComparison(const LasFile& before, const LasFile& after, const Watch& watch)
        : before_(before), after_(after), watch_(watch) {}

    void records(const std::string& kind, const std::vector<NamedRecord>& before,
                 const std::vector<NamedRecord>& after) {
        std::map<std::string, const NamedRecord*> left; // of the later survey
        for (const NamedRecord& record : after) left[record.name] = &record;
        std::vector<std::string> keptBefore, keptAfter;
        for (const NamedRecord& record : before) {
            const auto partner = left.find(record.name);
            note(kind, record.name, partner == left.end() ? "dropped" : changeOf(record, *partner->second));
            if (partner == left.end()) continue;
            keptBefore.push_back(record.name);
            left.erase(partner);
        }
        for (const NamedRecord& record : after)
            if (left.contains(record.name))
                note(kind, record.name, "added");
            else
                keptAfter.push_back(record.name);
        if (keptBefore != keptAfter) note(kind, kind + "Order", "the same records stand in another order");
    }

    void others() {
        const std::vector<OtherBytes> before = otherBytes(before_), after = otherBytes(after_);
        for (std::size_t i = 0; i < before.size(); ++i)
            note("bytes", before[i].name, changeOf("", before[i].extent, after[i].extent));
    }

    std::vector<PartDifference> take() { return std::move(differences_); }

private:
    void note(const std::string& kind, const std::string& name, const std::string& what) {
        if (!what.empty()) differences_.push_back({kind, name, what});
    }

    std::string changeOf(const NamedRecord& before, const NamedRecord& after) const {
        const std::string payload = changeOf("payload: ", before.payload(), after.payload());
        const std::string &was = before.record->description, &is = after.record->description;
        const std::string description =
            was == is ? "" : fmt::format("description: \"{}\" before, \"{}\" after", was, is);
        if (!payload.empty() || !description.empty())
            return payload + (payload.empty() || description.empty() ? "" : "; ") + description;
        return changeOf("header of the record: ", before.header, after.header);
    }

    std::string changeOf(const std::string& of, Extent before, Extent after) const {
        if (before.length() != after.length())
            return fmt::format("{}{} bytes before, {} after", of, before.length(), after.length());
        const auto first = firstDifference(before.begin, after.begin, before.length());
        return first ? fmt::format("{}differs from byte {} on, of {}", of, *first, before.length()) : "";
    }

    std::optional<std::uint64_t> firstDifference(std::uint64_t before, std::uint64_t after,
                                                 std::uint64_t length) const {
        constexpr std::uint64_t pieceBytes = std::uint64_t{1} << 20;
        std::vector<std::byte> earlier(std::min(length, pieceBytes)), later(earlier.size());
        for (std::uint64_t done = 0; done < length; done += earlier.size()) {
            watch_(done, length, ComparingWork);
            earlier.resize(std::min(pieceBytes, length - done));
            later.resize(earlier.size());
            before_.file->read(before + done, earlier);
            after_.file->read(after + done, later);
            const auto [place, other] = std::ranges::mismatch(earlier, later);
            if (place != earlier.end()) return done + std::uint64_t(place - earlier.begin());
        }
        return std::nullopt;
    }

    const LasFile &before_, &after_;
    const Watch& watch_;
    std::vector<PartDifference> differences_;
};

std::vector<NamedRecord> vlrsOf(const LasFile& las) { return named(las, las.vlrs, las.header.headerSize); }
std::vector<NamedRecord> evlrsOf(const LasFile& las) { return named(las, las.evlrs, las.header.evlrStart); }

} // namespace

std::vector<HeaderDifference> compareHeaders(const LasFile& before, const LasFile& after) {
    std::vector<HeaderDifference> differences;
    const bool places = placesTell(before, after);
    const std::vector<HeaderField> earlier = headerFields(before, places), later = headerFields(after, places);
    for (const HeaderField& field : earlier) {
        const auto partner = std::ranges::find(later, field.name, &HeaderField::name);
        if (partner == later.end())
            differences.push_back({field.name, field.text, std::nullopt});
        else if (partner->bytes != field.bytes)
            differences.push_back({field.name, field.text, partner->text});
    }
    for (const HeaderField& field : later)
        if (std::ranges::find(earlier, field.name, &HeaderField::name) == earlier.end())
            differences.push_back({field.name, std::nullopt, field.text});
    return differences;
}

std::vector<PartDifference> compareParts(const LasFile& before, const LasFile& after, const Watch& watch) {
    PartComparison comparison(before, after, watch);
    comparison.records("VLR", vlrsOf(before), vlrsOf(after));
    comparison.records("EVLR", evlrsOf(before), evlrsOf(after));
    comparison.others();
    return comparison.take();
}

std::vector<std::string> partNames(const LasFile& before, const LasFile& after) {
    std::vector<std::string> names{"VLROrder", "EVLROrder"};
    for (const LasFile* las : {&before, &after}) {
        for (const HeaderField& field : headerFields(*las, true)) names.push_back(field.name);
        for (const NamedRecord& record : vlrsOf(*las)) names.push_back(record.name);
        for (const NamedRecord& record : evlrsOf(*las)) names.push_back(record.name);
        for (const OtherBytes& bytes : otherBytes(*las)) names.push_back(bytes.name);
    }
    return names;
}

} // namespace corvane
