// SPDX-License-Identifier: Apache-2.0
#include "survey/ClassLookup.hpp"

#include "base/Text.hpp"
#include "las/LittleEndian.hpp"
#include "las/LookupChange.hpp"
#include "las/StandardClasses.hpp"
#include "survey/StandardLabels.hpp"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace corvane {
namespace {

constexpr std::size_t EntryBytes = 16;
constexpr std::size_t NameBytes = 15; // behind the class number
constexpr int Entries = 256;
constexpr std::size_t LongestPayload = 1 << 16; // as long as a VLR can be, and more than classes need

bool isUtf8(const std::string& text) {
    try {
        nlohmann::json(text).dump();
        return true;
    } catch (const nlohmann::json::type_error&) {
        return false;
    }
}

std::string utf8FromLatin1(const std::string& text) {
    std::string utf8;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80) {
            utf8 += c;
        } else {
            utf8 += static_cast<char>(0xc0 | byte >> 6);
            utf8 += static_cast<char>(0x80 | (byte & 0x3f));
        }
    }
    return utf8;
}

/// The description of the entry at `place`.
std::string nameAt(std::span<const std::byte> payload, std::size_t place) {
    std::string name = loadText(payload, place + 1, NameBytes);
    name.erase(name.find_last_not_of(' ') + 1);
    return isUtf8(name) ? name : utf8FromLatin1(name);
}

Kesh::LabelSet decode(std::span<const std::byte> payload, std::uint8_t pointFormat,
                      std::vector<std::string>& warnings) {
    Kesh::LabelSet labels;
    for (std::size_t place = 0; payload.size() - place >= EntryBytes; place += EntryBytes) {
        const int value = std::to_integer<int>(payload[place]);
        const std::string name = longClassName(value, pointFormat, nameAt(payload, place));
        if (name.empty()) continue;
        if (const Kesh::Label* first = labels.find(value)) {
            warnings.push_back(fmt::format("The Classification Lookup names class {} twice, \"{}\" and \"{}\"; the "
                                           "first is used.",
                                           value, escaped(first->name), escaped(name)));
            continue;
        }
        Kesh::Label& label = labels[value];
        label.name = name;
        label.colour = labelColour(value);
    }
    return labels;
}

/// At most 15 bytes of the name, no character cut in two.
std::string shortened(std::string name) {
    const auto continues = [](char c) { return (static_cast<unsigned char>(c) & 0xc0) == 0x80; };
    if (name.size() <= NameBytes) return name;
    std::size_t end = NameBytes;
    while (end > 0 && continues(name[end])) --end;
    return name.substr(0, end);
}

} // namespace

std::optional<Kesh::LabelSet> readClassLookup(const LasFile& las, std::vector<std::string>& warnings) {
    const auto records = classLookupRecords(las);
    if (records.empty()) return std::nullopt;
    if (records.size() > 1)
        warnings.push_back(
            fmt::format("There are {} Classification Lookup records; the first is used.", records.size()));
    const LasRecord& record = records.front();
    if (record.payloadLength % EntryBytes != 0 || record.payloadLength > LongestPayload)
        warnings.push_back(fmt::format("The Classification Lookup at offset {} has {} bytes where {} are expected; "
                                       "whole entries of {} bytes are read, as far as byte {}.",
                                       record.payloadOffset, record.payloadLength, ClassLookupBytes, EntryBytes,
                                       LongestPayload));
    return decode(readPayload(*las.file, record, LongestPayload), las.header.pointFormat, warnings);
}

std::vector<std::byte> encodeClassLookup(const Kesh::LabelSet& labels, std::uint8_t pointFormat,
                                         std::vector<std::string>& warnings) {
    std::vector<std::byte> payload(ClassLookupBytes);
    for (int value = 0; value < Entries; ++value) payload[value * EntryBytes] = static_cast<std::byte>(value);
    for (const auto& [value, label] : labels) {
        if (value < 0 || value >= Entries) {
            warnings.push_back(fmt::format("The label \"{}\" of value {} was left out: a Classification Lookup names "
                                           "the values 0 to 255. A label file keeps it.",
                                           escaped(label.name), value));
            continue;
        }
        const std::size_t place = value * EntryBytes;
        const std::string text = shortened(shortClassName(label.name));
        std::memcpy(payload.data() + place + 1, text.data(), text.size());
        const std::string read = longClassName(value, pointFormat, nameAt(payload, place));
        if (read != label.name)
            warnings.push_back(
                fmt::format("The name \"{}\" of class {} became \"{}\": a Classification Lookup has room "
                            "for {} bytes. A label file keeps it whole.",
                            escaped(label.name), value, escaped(read), NameBytes));
    }
    return payload;
}

} // namespace corvane
