// SPDX-License-Identifier: Apache-2.0
#include "check/Contract.hpp"

#include "base/Failure.hpp"
#include "base/InputFile.hpp"
#include "base/NearestName.hpp"
#include "las/CoordinateText.hpp"
#include "las/CrsText.hpp"
#include "las/PointCodec.hpp"
#include "json/Reader.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fmt/format.h>
#include <limits>

namespace corvane {
namespace {

constexpr double Infinite = std::numeric_limits<double>::infinity();
constexpr int LargestClass = 255, LargestFormat = 10;
const std::vector<std::string> FlagNames{"Synthetic", "KeyPoint", "Withheld", "Overlap"};

constexpr RuleName ClassRule{"class-not-allowed", "a class that --classes or the contract does not list"},
    VersionRule{"contract-version", "another LAS version than the contract asks for"},
    FormatRule{"contract-format", "another point format than the contract asks for"},
    CrsRule{"contract-crs", "another coordinate system than the contract asks for"},
    HeightRule{"contract-heights", "points above or below the heights of the contract"},
    DensityRule{"contract-density", "more or fewer points per square unit than the contract asks for"},
    FlagRule{"contract-flag", "points with a flag that the contract forbids"};

/// Adds those of "2" or "64-67"; false for another text.
bool addRange(const std::string& text, std::set<int>& classes) {
    const char* const end = text.data() + text.size();
    int first = 0;
    const auto [stop, wrong] = std::from_chars(text.data(), end, first);
    int last = first;
    if (wrong != std::errc()) return false;
    if (stop != end) {
        if (*stop != '-') return false;
        const auto [rest, alsoWrong] = std::from_chars(stop + 1, end, last);
        if (alsoWrong != std::errc() || rest != end) return false;
    }
    if (first < 0 || first > last || last > LargestClass) return false;
    for (int value = first; value <= last; ++value) classes.insert(value);
    return true;
}

constexpr char ClassExpected[] = "a class from 0 to 255, or a range such as \"64-67\"";

void addClasses(const json::Reader& entry, std::set<int>& classes) {
    const std::string text = entry.value().is_string() ? entry.text() : std::to_string(entry.integer());
    entry.expect(addRange(text, classes), ClassExpected);
}

/// [low, high], null for an open end.
std::array<double, 2> rangeOf(const json::Reader& range) {
    const auto ends = range.elements();
    range.expect(ends.size() == 2, "a list of the lowest and the highest number, null for none");
    const auto end = [](const json::Reader& one, double open) { return one.value().is_null() ? open : one.number(); };
    const std::array<double, 2> numbers{end(ends[0], -Infinite), end(ends[1], Infinite)};
    range.expect(numbers[0] <= numbers[1], "the lower number first");
    return numbers;
}

std::string flagName(const json::Reader::Member& flag) {
    for (const std::string& name : FlagNames)
        if (sameName(name, flag.key)) return name;
    flag.value.fail(fmt::format("there is no flag \"{}\". {}", flag.key, suggestNames(flag.key, FlagNames)));
}

std::vector<json::Reader> listOf(const json::Reader& value) {
    return value.value().is_array() ? value.elements() : std::vector<json::Reader>{value};
}

Contract contractOf(const json::Reader& json) {
    json.expectKeys({"classes", "version", "pointFormat", "crs", "heights", "density", "flags", "ignore"});
    Contract contract;
    if (json.has("classes")) {
        contract.classes.emplace();
        for (const json::Reader& entry : listOf(json.member("classes"))) addClasses(entry, *contract.classes);
    }
    if (json.has("version"))
        for (const json::Reader& version : listOf(json.member("version"))) contract.versions.push_back(version.text());
    if (json.has("pointFormat"))
        for (const json::Reader& format : listOf(json.member("pointFormat"))) {
            const int number = format.integer();
            format.expect(number >= 0 && number <= LargestFormat, "a point format from 0 to 10");
            contract.pointFormats.push_back(number);
        }
    if (json.has("crs")) contract.crs = json.member("crs").text();
    if (json.has("heights")) contract.heights = rangeOf(json.member("heights"));
    if (json.has("density")) contract.density = rangeOf(json.member("density"));
    if (json.has("flags"))
        for (const json::Reader::Member& flag : json.member("flags").members())
            contract.flags[flagName(flag)] = flag.value.flag();
    if (json.has("ignore"))
        for (const json::Reader& rule : listOf(json.member("ignore"))) contract.ignored.insert(rule.text());
    return contract;
}

std::string rangeText(const std::array<double, 2>& range) {
    if (range[0] == -Infinite) return fmt::format("at most {}", range[1]);
    if (range[1] == Infinite) return fmt::format("at least {}", range[0]);
    return fmt::format("{} to {}", range[0], range[1]);
}

/// A point of the survey with its height in the survey's unit.
PointTest outside(const LasHeader& header, const std::array<double, 2>& heights) {
    const double tolerance = std::abs(header.scale[2]) / 2; // a height is known to a unit of the scale
    return [=, scale = header.scale[2], offset = header.offset[2]](const PointFacts& point) {
        const double height = point.stored[2] * scale + offset;
        return height < heights[0] - tolerance || height > heights[1] + tolerance;
    };
}

PointTest withFlag(const Dimension& flag) {
    return [flag](const PointFacts& point) {
        std::uint32_t set = 0;
        decodeBits(point.record, point.record.size(), flag, std::span(&set, 1));
        return set != 0;
    };
}

/// Points per square unit, where there are points: of cells that hold some dozens of them on average.
class Density {
public:
    Density(const LasHeader& header, const PointTally& tally) : low_(tally.box.low) {
        constexpr double perCell = 32, mostCells = 2048; // along a side
        side_ = static_cast<std::size_t>(std::clamp(std::sqrt(double(header.pointCount) / perCell), 1.0, mostCells));
        for (std::size_t axis = 0; axis < 2; ++axis) {
            extent_[axis] = double(tally.box.high[axis]) - double(low_[axis]) + 1;
            unit_[axis] = std::abs(header.scale[axis]);
        }
        used_.resize(side_ * side_);
    }

    void add(const PointFacts& point) {
        const auto cell = [&](std::size_t axis) {
            const double part = (double(point.stored[axis]) - double(low_[axis])) / extent_[axis];
            return std::min(static_cast<std::size_t>(part * double(side_)), side_ - 1);
        };
        used_[cell(1) * side_ + cell(0)] = true;
        ++points_;
    }

    double value() const {
        const double cell = extent_[0] * unit_[0] / double(side_) * extent_[1] * unit_[1] / double(side_);
        const auto used = std::count(used_.begin(), used_.end(), true);
        return used > 0 ? double(points_) / (double(used) * cell) : 0;
    }

private:
    std::array<std::int32_t, 3> low_;
    std::array<double, 2> extent_{}, unit_{};
    std::size_t side_;
    std::vector<bool> used_;
    std::uint64_t points_ = 0;
};

/// What the header tells.
void checkFile(const Contract& contract, const LasFile& las, std::vector<Breach>& breaches) {
    const LasHeader& header = las.header;
    const auto lacks = [](const auto& list, const auto& value) {
        return !list.empty() && std::ranges::find(list, value) == list.end();
    };
    if (lacks(contract.versions, header.version()))
        breaches.push_back({VersionRule.name,
                            fmt::format("The file is of LAS {}; {} was agreed.", header.version(),
                                        fmt::join(contract.versions, " or ")),
                            {}});
    if (lacks(contract.pointFormats, int(header.pointFormat)))
        breaches.push_back({FormatRule.name,
                            fmt::format("The points are of format {}; {} was agreed.", header.pointFormat,
                                        fmt::join(contract.pointFormats, " or ")),
                            {}});
    if (const CrsLabel crs = crsLabel(las.crs); !contract.crs.empty() && !sameName(crs.code, contract.crs))
        breaches.push_back({CrsRule.name,
                            fmt::format("The coordinate system is {}; {} was agreed.",
                                        las.crs.empty()      ? "not given"
                                        : crs.text().empty() ? "one without name and code"
                                                             : crs.text(),
                                        contract.crs),
                            {}});
}

void checkClasses(const Contract& contract, const PointTally& tally, std::vector<Breach>& breaches) {
    if (!contract.classes) return;
    for (int value = 0; value <= LargestClass; ++value) {
        const Occurrence points = tally.of(value);
        if (points.count == 0 || contract.classes->contains(value)) continue;
        breaches.push_back(
            {ClassRule.name,
             fmt::format("Class {} is not among those that were agreed ({}).", value,
                         fmt::join(*contract.classes, ", ")),
             points, [value = static_cast<unsigned>(value)](const PointFacts& point) { return point.value == value; }});
    }
}

/// Rules for which every point is looked at.
std::vector<Breach> testsFor(const Contract& contract, const LasFile& las) {
    std::vector<Breach> tests;
    if (contract.heights)
        tests.push_back(
            {HeightRule.name,
             fmt::format("Points lie outside the heights that were agreed, {}.", rangeText(*contract.heights)),
             {},
             outside(las.header, *contract.heights)});
    for (const auto& [name, allowed] : contract.flags)
        if (const Dimension* flag = las.find(name); flag && !allowed)
            tests.push_back({FlagRule.name,
                             fmt::format("Points carry the {} flag, which was to be set nowhere.", name),
                             {},
                             withFlag(*flag)});
    return tests;
}

} // namespace

Contract readContract(const std::string& path) {
    try {
        const json::Document document(readTextFile(path), path);
        return contractOf(json::Reader(document));
    } catch (const json::Error& problem) {
        throw Failure(fmt::format("{}; correct it there.", problem.what()));
    }
}

std::vector<RuleName> contractRules() {
    return {ClassRule, VersionRule, FormatRule, CrsRule, HeightRule, DensityRule, FlagRule};
}

std::vector<Breach> breachesOf(const Contract& contract, const LasFile& las, const PointTally& tally,
                               const Kesh::LimitPtr& limit, const Watch& watch) {
    std::vector<Breach> breaches;
    checkFile(contract, las, breaches);
    checkClasses(contract, tally, breaches);
    std::vector<Breach> tests = testsFor(contract, las);
    if (las.header.pointCount == 0 || (tests.empty() && !contract.density)) return breaches;
    Density density(las.header, tally);
    visitPoints(las, limit, watch, [&](const PointFacts& point) {
        for (Breach& breach : tests)
            if (breach.test(point)) breach.points.add(point.index);
        if (contract.density) density.add(point);
    });
    for (Breach& breach : tests)
        if (breach.points.count > 0) breaches.push_back(std::move(breach));
    if (const double found = density.value();
        contract.density && (found < (*contract.density)[0] || found > (*contract.density)[1]))
        breaches.push_back(
            {DensityRule.name,
             fmt::format("There are {:.4g} points per square unit where there are points; {} was agreed.", found,
                         rangeText(*contract.density)),
             {}});
    return breaches;
}

} // namespace corvane
