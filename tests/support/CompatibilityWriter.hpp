// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "las/LasFile.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fmt/format.h>
#include <string>
#include <vector>

namespace corvane::test {

/// Points of format 6 to 10 and what else a file of them has.
struct ModernPoints {
    int format = 6;
    std::size_t stride = 30; ///< with the user's extra bytes, which come last
    std::string records;
    std::string descriptors; ///< of the user's extra bytes, 192 bytes each
    std::string coordinates; ///< scale, offset and bounds, as they stand in the header
    std::string wkt;         ///< payload of the coordinate system's record; may be empty

    std::size_t count() const { return records.size() / stride; }

    template <class T = std::uint8_t>
    T get(std::size_t point, std::size_t place) const {
        T value;
        std::memcpy(&value, records.data() + point * stride + place, sizeof value);
        return value;
    }
    template <class T>
    void put(std::size_t point, std::size_t place, T value) {
        std::memcpy(records.data() + point * stride + place, &value, sizeof value);
    }
    /// The bits from `first` on of one byte.
    void putBits(std::size_t point, std::size_t place, int first, int bits, unsigned value) {
        const unsigned mask = ((1u << bits) - 1) << first;
        put(point, place, static_cast<std::uint8_t>((get(point, place) & ~mask) | value << first));
    }
};

/// Writes such points as a file of version 1.2 or 1.3 in the form that programs restore them from: by the rules of that
/// form, and without the code under test. Each step can be spoilt on purpose.
class CompatibilityWriter {
public:
    explicit CompatibilityWriter(const ModernPoints& points) : points_(points) {
        for (std::size_t i = 0; i < points.count(); ++i) {
            const unsigned number = points.get(i, 14) & 15u;
            if (number > 0) ++counts[number];
        }
        counts[0] = points.count();
    }

    std::array<std::uint64_t, 16> counts{}; ///< all, then by return
    std::size_t recordBytes = 156;          ///< of the VLR that names the form; 0: without
    bool ownFirst = false;                  ///< the form's extra bytes before the user's
    std::vector<std::string> names{"LAS 1.4 scan angle", "LAS 1.4 extended returns", "LAS 1.4 classification",
                                   "LAS 1.4 flags and channel", "LAS 1.4 NIR band"};
    int fewer = 0; ///< bytes of each record, at its end

    int storedFormat() const { return std::array{1, 3, 3, 4, 5}[points_.format - 6]; }
    std::size_t storedLength() const { return shared() + own() + users() - fewer; }

    /// Where the form's extra bytes begin in a record.
    std::size_t ownPlace() const { return shared() + (ownFirst ? 0 : users()); }

    /// Where the points begin in the file.
    std::size_t start() const { return begin().size(); }

    std::string file() const {
        std::string bytes = begin();
        for (std::size_t i = 0; i < points_.count(); ++i) bytes += record(i).substr(0, storedLength());
        return bytes;
    }

private:
    bool infrared() const { return points_.format == 8 || points_.format == 10; }
    std::size_t own() const { return infrared() ? 7 : 5; }
    std::size_t standard() const { return std::array{30, 36, 38, 59, 67}[points_.format - 6]; }
    std::size_t shared() const { return std::array{28, 34, 34, 57, 63}[points_.format - 6]; }
    std::size_t users() const { return points_.stride - standard(); }

    template <class T>
    static void put(std::string& bytes, std::size_t place, T value) {
        std::memcpy(bytes.data() + place, &value, sizeof value);
    }

    static std::string vlr(const std::string& user, std::uint16_t number, const std::string& payload) {
        std::string head(54, '\0');
        head.replace(2, user.size(), user);
        put(head, 18, number);
        put(head, 20, static_cast<std::uint16_t>(payload.size()));
        return head + payload;
    }

    std::string begin() const {
        const std::uint16_t size = points_.format >= 9 ? 235 : 227;
        std::string head(size, '\0');
        head.replace(0, 4, "LASF");
        head[24] = 1;
        head[25] = points_.format >= 9 ? 3 : 2;
        head[104] = static_cast<char>(storedFormat());
        put(head, 94, size);
        put(head, 105, static_cast<std::uint16_t>(storedLength()));
        for (std::size_t i = 0; i < 6; ++i) put(head, 107 + 4 * i, static_cast<std::uint32_t>(counts[i]));
        head.replace(131, points_.coordinates.size(), points_.coordinates);
        std::vector<std::string> records;
        if (!points_.wkt.empty()) records.push_back(vlr("LASF_Projection", 2112, points_.wkt));
        if (recordBytes > 0) {
            std::string form(std::max<std::size_t>(recordBytes, 156), '\0');
            form[2] = 3;
            for (std::size_t i = 0; i < counts.size(); ++i) put(form, 28 + 8 * i, counts[i]);
            records.push_back(vlr("lascompatible", 22204, form.substr(0, recordBytes)));
        }
        const std::string mine = descriptors();
        records.push_back(vlr("LASF_Spec", 4, ownFirst ? mine + points_.descriptors : points_.descriptors + mine));
        put(head, 100, static_cast<std::uint32_t>(records.size()));
        std::string all;
        for (const std::string& record : records) all += record;
        put(head, 96, static_cast<std::uint32_t>(size + all.size()));
        return head + all;
    }

    std::string descriptors() const {
        constexpr char types[] = {4, 1, 1, 1, 3};
        std::string all;
        for (std::size_t i = 0; i < (infrared() ? 5u : 4u); ++i) {
            std::string one(192, '\0');
            one[2] = types[i];
            one.replace(4, names[i].size(), names[i]);
            if (i == 0) {
                one[3] = 8; // has a scale
                put(one, 112, 0.006);
            }
            all += one;
        }
        return all;
    }

    static int storedReturn(int number, int count) {
        if (count <= 7) return std::min(number, 7);
        if (number <= 4) return number;
        const int fromLast = count - number;
        return fromLast <= 0 ? 7 : fromLast >= 3 ? 4 : 7 - fromLast;
    }

    std::string record(std::size_t i) const {
        const std::string modern = points_.records.substr(i * points_.stride, points_.stride);
        const auto byte = [&](std::size_t place) {
            return static_cast<int>(static_cast<unsigned char>(modern[place]));
        };
        const int number = byte(14) & 15, count = byte(14) >> 4, flags = byte(15), value = byte(16);
        const int lessNumber = storedReturn(number, count), lessCount = std::min(count, 7);
        const int angle = points_.get<std::int16_t>(i, 18);
        const int rank = std::clamp(static_cast<int>(std::round(0.006f * static_cast<float>(angle))), -128, 127);

        std::string old = modern.substr(0, 14);
        old += static_cast<char>(lessNumber + 8 * lessCount + (flags & 0xC0));
        old += static_cast<char>((value <= 31 ? value : 0) + 32 * (flags & 7));
        old += static_cast<char>(rank);
        old += modern[17];
        old += modern.substr(20, 10);
        const bool colour = points_.format != 6 && points_.format != 9;
        if (colour) old += modern.substr(30, 6);
        if (points_.format >= 9) old += modern.substr(standard() - 29, 29);

        std::string mine(2, '\0');
        put(mine, 0,
            static_cast<std::int16_t>(angle - static_cast<int>(std::round(static_cast<float>(rank) / 0.006f))));
        mine += static_cast<char>((number - lessNumber) * 16 + (count - lessCount));
        mine += static_cast<char>(value > 31 ? value : 0);
        mine += static_cast<char>((flags >> 3 & 1) + 2 * (flags >> 4 & 3));
        if (infrared()) mine += modern.substr(36, 2);
        const std::string theirs = modern.substr(standard());
        return old + (ownFirst ? mine + theirs : theirs + mine);
    }

    const ModernPoints& points_;
};

/// The points of a real survey of format 6 to 10.
inline ModernPoints modernPoints(const std::string& path) {
    const auto las = LasFile::open(path);
    ModernPoints points;
    points.format = las.header.pointFormat;
    points.stride = las.points->recordLength();
    points.records.resize(las.points->count() * points.stride);
    las.points->read(0, std::as_writable_bytes(std::span(points.records)));
    points.coordinates.resize(96);
    las.file->read(131, std::as_writable_bytes(std::span(points.coordinates)));
    const auto payload = [&](const std::string& user, int number) {
        std::string text;
        for (const LasRecord& record : las.vlrs)
            if (record.userId == user && record.recordId == number)
                for (const std::byte byte : readPayload(*las.file, record, 1 << 16)) text += static_cast<char>(byte);
        return text;
    };
    points.descriptors = payload("LASF_Spec", 4);
    points.wkt = payload("LASF_Projection", 2112);
    return points;
}

/// The same points in another format: without bytes from `place` on, or with some of other points before it.
inline ModernPoints withoutBytes(ModernPoints points, int format, std::size_t place, std::size_t bytes) {
    std::string records;
    for (std::size_t at = 0; at < points.records.size(); at += points.stride)
        records += points.records.substr(at, points.stride).erase(place, bytes);
    points.records = records;
    points.stride -= bytes;
    points.format = format;
    return points;
}
inline ModernPoints withBytes(ModernPoints points, int format, std::size_t place, const ModernPoints& from,
                              std::size_t fromPlace, std::size_t bytes) {
    std::string records;
    for (std::size_t i = 0; i < points.count(); ++i)
        records += points.records.substr(i * points.stride, points.stride)
                       .insert(place, from.records.substr(i * from.stride + fromPlace, bytes));
    points.records = records;
    points.stride += bytes;
    points.format = format;
    return points;
}

} // namespace corvane::test
