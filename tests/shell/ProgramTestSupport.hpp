// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "../support/Files.hpp"
#include "../support/Messages.hpp"
#include "../support/RealSurveys.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <sys/wait.h>
#include <vector>

namespace corvane::test {

using Arguments = std::vector<std::string>;

inline Arguments operator+(Arguments first, const Arguments& more) {
    first.insert(first.end(), more.begin(), more.end());
    return first;
}

/// How the program ended and what it said.
struct Outcome {
    int status; ///< 128 and more: killed by a signal; Crashed: stopped by a sanitizer
    std::string out, err;

    static constexpr int NotClean = 3, Crashed = 99;

    json document() const {
        EXPECT_TRUE(status == 0 || status == NotClean) << status << ": " << err;
        return json::parse(out);
    }

    /// Standard error without warnings and notes.
    std::string complaint() const {
        std::string rest;
        for (std::size_t begin = 0, end; begin < err.size(); begin = end) {
            end = std::min(err.find('\n', begin), err.size() - 1) + 1;
            const std::string line = err.substr(begin, end - begin);
            if (!line.starts_with("corvane: warning: ") && !line.starts_with("corvane: note: ")) rest += line;
        }
        return rest;
    }
};

inline std::string quoted(const std::string& text) {
    std::string safe = "'";
    for (const char c : text) safe += c == '\'' ? "'\\''" : std::string(1, c);
    return safe + "'";
}

inline Outcome execute(const std::string& program, const Arguments& arguments) {
    const Folder streams;
    const std::string crashed = fmt::format("$ASAN_OPTIONS:exitcode={}", Outcome::Crashed);
    std::string line = fmt::format("ASAN_OPTIONS={0} UBSAN_OPTIONS={0} exec {1}", crashed, quoted(program));
    for (const std::string& argument : arguments) line += " " + quoted(argument);
    line += fmt::format(" >{} 2>{} </dev/null", streams / "out", streams / "err");
    const int result = std::system(line.c_str());
    const int status = WIFEXITED(result) ? WEXITSTATUS(result) : 128 + WTERMSIG(result);
    return {status, bytesOf(streams / "out"), bytesOf(streams / "err")};
}

/// The program in a folder of its own, with a small invented survey in "in.las".
class Program : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(corvane({"sample", in, "--points", "2000", "-q"}).status, 0); }

    static Outcome corvane(const Arguments& arguments) { return execute(CORVANE_PROGRAM, arguments); }

    /// reclassify in.las out.las, and what else is given
    Outcome reclassify(const Arguments& more, const std::string& from = "") const {
        return corvane(Arguments{"reclassify", from.empty() ? in : from, out} + more);
    }

    /// Expects one sentence that says all this, and that every file is as it was.
    void expectRefused(const Arguments& arguments, int status, const std::vector<std::string>& says) const {
        const auto before = folder.contents();
        const Outcome run = corvane(arguments);
        SCOPED_TRACE(fmt::format("corvane {}", fmt::join(arguments, " ")));
        EXPECT_EQ(run.status, status) << run.err;
        const std::string complaint = run.complaint();
        EXPECT_TRUE(complaint.starts_with("corvane: ")) << run.err;
        EXPECT_EQ(std::count(complaint.begin(), complaint.end(), '\n'), 1) << run.err;
        for (const std::string& part : says) EXPECT_TRUE(holds(complaint, part)) << part << " is not in " << complaint;
        EXPECT_TRUE(folder.contents() == before) << "files have come, gone or changed";
    }

    struct Refusal {
        Arguments more;
        std::vector<std::string> says;
        int status = 2;
    };
    void expectRefused(const Arguments& call, const std::vector<Refusal>& table) const {
        for (const auto& [more, says, status] : table) expectRefused(call + more, status, says);
    }

    const Folder folder;
    const std::string in = folder / "in.las", out = folder / "out.las";
};

/// Points of a LAS file, read from its bytes without the code under test.
class RawPoints {
public:
    explicit RawPoints(std::string bytes) : bytes_(std::move(bytes)) {
        const bool wide = bytes_[25] >= 4 && get<std::uint64_t>(247) > 0;
        count_ = wide ? get<std::uint64_t>(247) : get<std::uint32_t>(107);
    }

    std::uint64_t count() const { return count_; }
    const std::string& bytes() const { return bytes_; }

    /// Offset of a byte of a record.
    std::size_t place(std::uint64_t point, std::size_t byte) const {
        return get<std::uint32_t>(96) + point * get<std::uint16_t>(105) + byte;
    }

    double coordinate(std::uint64_t point, std::size_t axis) const {
        return get<std::int32_t>(place(point, 4 * axis)) * get<double>(131 + 8 * axis) + get<double>(155 + 8 * axis);
    }

    int classOf(std::uint64_t point) const { return byteAt(point, classByte()) & classMask(); }
    void setClass(std::uint64_t point, int value) {
        setByte(point, classByte(), (byteAt(point, classByte()) & ~classMask()) | value);
    }

    int byteAt(std::uint64_t point, std::size_t byte) const { return get<std::uint8_t>(place(point, byte)); }
    void setByte(std::uint64_t point, std::size_t byte, int value) {
        bytes_[place(point, byte)] = static_cast<char>(value);
    }

    /// Sets the flags that stand beside or before the class to something different in every point.
    void scrambleFlags() {
        for (std::uint64_t i = 0; i < count_; ++i) {
            const int noise = static_cast<int>(i * 2654435761u >> 13 & 0xFF);
            setByte(i, 15, extended() ? noise : (byteAt(i, 15) & classMask()) | (noise & ~classMask()));
        }
    }

    json classCounts() const {
        std::array<int, 256> byClass{};
        for (std::uint64_t i = 0; i < count_; ++i) ++byClass[static_cast<std::size_t>(classOf(i))];
        json counts = json::object();
        for (std::size_t value = 0; value < byClass.size(); ++value)
            if (byClass[value] > 0) counts[std::to_string(value)] = byClass[value];
        return counts;
    }

    /// Lowest and highest x and y.
    std::array<double, 4> box() const {
        std::array<double, 4> box{1e300, 1e300, -1e300, -1e300};
        for (std::uint64_t i = 0; i < count_; ++i)
            for (std::size_t axis = 0; axis < 2; ++axis) {
                box[axis] = std::min(box[axis], coordinate(i, axis));
                box[axis + 2] = std::max(box[axis + 2], coordinate(i, axis));
            }
        return box;
    }

    template <class T>
    T get(std::size_t offset) const {
        T value;
        std::memcpy(&value, bytes_.data() + offset, sizeof value);
        return value;
    }
    template <class T>
    void put(std::size_t offset, T value) {
        std::memcpy(bytes_.data() + offset, &value, sizeof value);
    }

private:
    bool extended() const { return bytes_[104] >= 6; }
    std::size_t classByte() const { return extended() ? 16 : 15; }
    int classMask() const { return extended() ? 0xFF : 0x1F; }

    std::string bytes_;
    std::uint64_t count_ = 0;
};

/// How many points are another record than before.
inline std::uint64_t changedRecords(const RawPoints& before, const RawPoints& after) {
    std::uint64_t changed = 0;
    const std::size_t length = before.place(1, 0) - before.place(0, 0);
    for (std::uint64_t i = 0; i < before.count(); ++i)
        changed += before.bytes().compare(before.place(i, 0), length, after.bytes(), after.place(i, 0), length) != 0;
    return changed;
}

using RealSurveys = WithFacts<Program>;

} // namespace corvane::test
