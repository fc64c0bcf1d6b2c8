// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "../support/Files.hpp"
#include "../support/Messages.hpp"
#include "base/Failure.hpp"
#include "las/LasFile.hpp"

#include <array>
#include <cstring>
#include <fmt/format.h>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace corvane::test {

/// Header sizes of versions 1.0 to 1.5 and record lengths of point formats 0 to 10, from the published tables.
constexpr std::array<std::uint16_t, 6> HeaderSizes{227, 227, 227, 235, 375, 393};
constexpr std::array<std::uint16_t, 11> RecordLengths{20, 28, 26, 34, 57, 63, 30, 36, 38, 59, 67};

/// A small valid survey in memory, written byte by byte without the code under test, to be broken on purpose. Records
/// go in in the order of the calls: VLRs, then points, then EVLRs.
class Survey {
public:
    static constexpr std::uint32_t Points = 3;

    explicit Survey(std::uint8_t minor = 4, std::uint8_t format = 6, std::uint16_t extraBytes = 0)
        : minor_(minor), recordLength_(static_cast<std::uint16_t>(RecordLengths[format] + extraBytes)) {
        bytes_.resize(HeaderSizes[minor]);
        std::memcpy(bytes_.data(), "LASF", 4);
        put<std::uint8_t>(24, 1).put<std::uint8_t>(25, minor).put<std::uint16_t>(94, HeaderSizes[minor]);
        put<std::uint32_t>(96, HeaderSizes[minor]).put<std::uint8_t>(104, format).put(105, recordLength_);
        for (std::size_t axis = 0; axis < 3; ++axis) put<double>(131 + 8 * axis, 0.01);
    }

    template <class T>
    Survey& put(std::size_t offset, T value) {
        std::memcpy(bytes_.data() + offset, &value, sizeof value);
        return *this;
    }

    template <class T>
    T get(std::size_t offset) const {
        T value;
        std::memcpy(&value, bytes_.data() + offset, sizeof value);
        return value;
    }

    Survey& vlr(const std::string& userId, std::uint16_t recordId, const std::string& payload) {
        record<std::uint16_t>(userId, recordId, payload);
        put<std::uint32_t>(100, get<std::uint32_t>(100) + 1);
        return put(96, static_cast<std::uint32_t>(bytes_.size()));
    }

    Survey& points() {
        bytes_.resize(bytes_.size() + Points * recordLength_);
        return minor_ < 4 ? put<std::uint32_t>(107, Points) : put<std::uint64_t>(247, Points);
    }

    Survey& evlr(const std::string& userId, std::uint16_t recordId, const std::string& payload) {
        if (get<std::uint32_t>(243) == 0) put<std::uint64_t>(235, bytes_.size());
        record<std::uint64_t>(userId, recordId, payload);
        return put<std::uint32_t>(243, get<std::uint32_t>(243) + 1);
    }

    Survey& cut(std::size_t size) {
        bytes_.resize(size);
        return *this;
    }
    Survey& append(std::size_t count) { return cut(size() + count); }

    std::size_t size() const { return bytes_.size(); }

    void write(const std::string& path) const {
        std::ofstream(path, std::ios::binary).write(bytes_.data(), static_cast<std::streamsize>(bytes_.size()));
    }

    LasFile open() const {
        write(folder_ / "survey.las");
        return LasFile::open(folder_ / "survey.las");
    }

    /// The sentence with which opening fails; empty when it does not.
    std::string failure() const {
        return messageOf<Failure>([this] { open(); });
    }

private:
    template <class Length>
    void record(const std::string& userId, std::uint16_t recordId, const std::string& payload) {
        const auto start = bytes_.size();
        bytes_.resize(start + 52 + sizeof(Length));
        std::memcpy(bytes_.data() + start + 2, userId.data(), userId.size());
        put(start + 18, recordId).put(start + 20, static_cast<Length>(payload.size()));
        bytes_.insert(bytes_.end(), payload.begin(), payload.end());
    }

    static inline const Folder folder_;
    std::uint8_t minor_;
    std::uint16_t recordLength_;
    std::vector<char> bytes_;
};

/// All sentences in one text.
inline std::string joined(const std::vector<std::string>& sentences) {
    std::string text;
    for (const auto& sentence : sentences) text += sentence + '\n';
    return text;
}

} // namespace corvane::test
