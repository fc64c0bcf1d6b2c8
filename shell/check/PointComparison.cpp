// SPDX-License-Identifier: Apache-2.0
#include "check/PointComparison.hpp"

#include "base/Failure.hpp"
#include "base/NearestName.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <fmt/format.h>
#include <unordered_map>

namespace corvane {
namespace {

constexpr std::array Flags{"Synthetic", "KeyPoint", "Withheld", "Overlap"};

/// By name. The dimensions must outlive it; there may be as many as a record has bytes.
std::unordered_map<std::string, const Dimension*> indexOf(const std::vector<Dimension>& dimensions) {
    std::unordered_map<std::string, const Dimension*> index;
    for (const Dimension& dimension : dimensions) index.emplace(dimension.name, &dimension);
    return index;
}

bool isFlag(const Dimension& dimension) {
    return dimension.bits == 1 && std::ranges::find(Flags, dimension.name) != Flags.end();
}

const Dimension& countable(const LasFile& las, const std::vector<Dimension>& dimensions, const std::string& name) {
    const auto dimension = std::ranges::find_if(
        dimensions, [own = withoutAlias(name)](const Dimension& one) { return sameName(one.name, own); });
    std::vector<std::string> known;
    for (const Dimension& one : dimensions)
        if (one.largestValue() > 0 && !one.scaled()) known.push_back(one.name);
    if (dimension == dimensions.end())
        throw UsageError(
            fmt::format("--field {}: {} has no such field. {}", name, las.file->path(), suggestNames(name, known)));
    if (dimension->largestValue() == 0 || dimension->scaled())
        throw UsageError(fmt::format("--field {}: {} holds other values than unsigned integers of 8 or 16 bits in it. "
                                     "Choose one of {}.",
                                     name, las.file->path(), fmt::join(known, ", ")));
    return *dimension;
}

/// The bits in which any of the pairs differ. For records of one length.
std::vector<std::byte> differingBits(const RecordPairs& pairs) {
    std::vector<std::byte> mask(pairs.strideBefore);
    const std::byte *before = pairs.before.data(), *after = pairs.after.data();
    for (std::size_t i = 0; i < pairs.count; ++i, before += mask.size(), after += mask.size()) {
        if (std::memcmp(before, after, mask.size()) == 0) continue;
        for (std::size_t byte = 0; byte < mask.size(); ++byte) mask[byte] |= before[byte] ^ after[byte];
    }
    return mask;
}

bool anySet(std::span<const std::byte> records, std::size_t stride, const Dimension& flag) {
    std::byte all{0};
    for (std::size_t place = flag.offset; place < records.size(); place += stride) all |= records[place];
    return (std::to_integer<unsigned>(all) >> flag.firstBit & flag.largestValue()) != 0;
}

} // namespace

std::vector<Dimension> allDimensions(const LasFile& las) {
    std::vector<Dimension> dimensions;
    const std::size_t standard = recordLengthOf(las.header.pointFormat);
    std::vector<bool> described(las.header.recordLength);
    std::fill_n(described.begin(), standard, true);
    for (std::size_t i = 0; i < las.dimensions.size(); ++i) {
        dimensions.push_back(las.asRead(i));
        const Dimension& dimension = dimensions.back();
        std::fill_n(described.begin() + std::ptrdiff_t(dimension.offset), sizeOf(dimension.storage), true);
    }
    for (std::size_t byte = standard; byte < described.size(); ++byte)
        if (!described[byte])
            dimensions.push_back({fmt::format("UndescribedByte{}", byte - standard), Storage::UInt8, byte});
    return dimensions;
}

PointComparison::PointComparison(const LasFile& before, const LasFile& after, const std::string& field) {
    const std::vector<Dimension> earlier = allDimensions(before), later = allDimensions(after);
    pairUp(earlier, later);
    fieldBefore_ = countable(before, earlier, field);
    fieldAfter_ = countable(after, later, field);
    field_ = fieldBefore_.name;
    transitions_.emplace(fieldBefore_, fieldAfter_);
    sameLayout_ = before.header.recordLength == after.header.recordLength && earlier == later;
}

void PointComparison::pairUp(const std::vector<Dimension>& earlier, const std::vector<Dimension>& later) {
    const auto earlierByName = indexOf(earlier), laterByName = indexOf(later);
    for (const Dimension& dimension : earlier) {
        const auto partner = laterByName.find(dimension.name);
        const bool lost = partner == laterByName.end();
        if (lost)
            onlyBefore_.push_back(dimension.name);
        else
            pairs_.emplace_back(dimension, *partner->second);
        if (isFlag(dimension)) flags_.push_back({lost ? dimension : *partner->second, lost});
    }
    for (const Dimension& dimension : later)
        if (!earlierByName.contains(dimension.name)) onlyAfter_.push_back(dimension.name);
}

void PointComparison::compare(const RecordPairs& pairs) {
    lookAtFlags(pairs);
    if (compareDimensions(pairs))
        transitions_->add(pairs);
    else
        transitions_->addUnchanged(pairs);
}

/// Whether any differs.
bool PointComparison::compareDimensions(const RecordPairs& pairs) {
    if (!sameLayout_) {
        for (DimensionPair& pair : pairs_) pair.compare(pairs);
        return true;
    }
    if (std::memcmp(pairs.before.data(), pairs.after.data(), pairs.before.size()) == 0) return false;
    const std::vector<std::byte> mask = differingBits(pairs);
    for (DimensionPair& pair : pairs_)
        if (pair.touches(mask)) pair.compare(pairs);
    return true;
}

void PointComparison::lookAtFlags(const RecordPairs& pairs) {
    for (Flag& flag : flags_) {
        if (flag.seen) continue;
        flag.seen = flag.lost ? anySet(pairs.before, pairs.strideBefore, flag.dimension)
                              : anySet(pairs.after, pairs.strideAfter, flag.dimension);
    }
}

std::vector<DimensionDifference> PointComparison::differences() const {
    std::vector<DimensionDifference> differences;
    for (const DimensionPair& pair : pairs_)
        if (pair.difference().points > 0) differences.push_back(pair.difference());
    return differences;
}

/// A flag that both have and that differs, while the later survey has it nowhere, was set in the earlier.
std::vector<std::string> PointComparison::clearedFlags() const {
    std::vector<std::string> cleared;
    for (const Flag& flag : flags_) {
        const bool differs = std::ranges::any_of(pairs_, [&](const DimensionPair& pair) {
            return pair.difference().name == flag.dimension.name && pair.difference().points > 0;
        });
        if (flag.lost ? flag.seen : differs && !flag.seen) cleared.push_back(flag.dimension.name);
    }
    return cleared;
}

} // namespace corvane
