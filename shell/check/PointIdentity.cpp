// SPDX-License-Identifier: Apache-2.0
#include "check/PointIdentity.hpp"

#include "Holdfast/Chunk.hpp"
#include "las/PointCodec.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <tuple>

namespace corvane {
namespace {

constexpr std::size_t Axes = 3;
constexpr std::array Coordinates{"X", "Y", "Z"};
constexpr std::array Others{"GpsTime", "ReturnNumber"};

/// The finalizer of SplitMix64: every bit of the input changes about half of the result's.
std::uint64_t mixed(std::uint64_t bits) {
    bits = (bits ^ (bits >> 30)) * 0xbf58476d1ce4e5b9U;
    bits = (bits ^ (bits >> 27)) * 0x94d049bb133111ebU;
    return bits ^ (bits >> 31);
}

} // namespace

PointIdentity::PointIdentity(const LasFile& survey, const LasFile& other) : stride_(survey.header.recordLength) {
    for (std::size_t axis = 0; axis < Axes; ++axis) parts_.push_back(coordinate(survey, other, axis));
    for (const char* name : Others) {
        const Dimension* own = survey.find(name);
        if (own && other.find(name)) parts_.push_back({*own});
    }
}

PointIdentity::Part PointIdentity::coordinate(const LasFile& survey, const LasFile& other, std::size_t axis) {
    const double own = survey.header.scale[axis], theirs = other.header.scale[axis];
    const double ownOffset = survey.header.offset[axis], theirOffset = other.header.offset[axis];
    if (own == theirs && ownOffset == theirOffset) return {survey.dimensions[axis]};
    // Both surveys must come to the same choice, so the offset decides between equal scales.
    const bool takeOwn = std::tuple(std::abs(own), own, ownOffset) > std::tuple(std::abs(theirs), theirs, theirOffset);
    return {survey.asRead(axis), takeOwn ? own : theirs, takeOwn ? ownOffset : theirOffset};
}

void PointIdentity::hash(std::span<const std::byte> records, std::span<std::uint64_t> hashes) const {
    std::ranges::fill(hashes, 0);
    Holdfast::Chunk<double> values(hashes.size());
    for (const Part& part : parts_) {
        decodeNumbers(records, stride_, part.dimension, std::span(values.values));
        for (std::size_t i = 0; i < hashes.size(); ++i) {
            const double value = values.values[i];
            const double counted = part.unit == 0 ? value : std::nearbyint((value - part.origin) / part.unit);
            const double unsignedZero = counted + 0.0;
            hashes[i] = mixed(hashes[i] + std::bit_cast<std::uint64_t>(unsignedZero) + 1);
        }
    }
}

bool PointIdentity::uses(const std::string& dimension) {
    return std::ranges::find(Coordinates, dimension) != Coordinates.end() ||
           std::ranges::find(Others, dimension) != Others.end();
}

} // namespace corvane
