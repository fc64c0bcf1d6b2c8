// SPDX-License-Identifier: Apache-2.0
#include "MemoryFile.hpp"
#include "base/Failure.hpp"
#include "las/LasFile.hpp"
#include "las/PointCodec.hpp"
#include "las/PointEdits.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string_view>
#include <vector>

namespace {

using corvane::fuzz::require;

/// What an opened file promises to those who read its points.
void checkPromises(const corvane::LasFile& las) {
    const auto& header = las.header;
    require(header.pointFormat <= 10 && header.recordLength >= corvane::recordLengthOf(header.pointFormat));
    require(header.offsetToPoints <= las.file->size());
    require(las.pointsEnd >= header.offsetToPoints && las.pointsEnd <= las.file->size());
    for (const auto& dimension : las.dimensions)
        require(dimension.offset + corvane::sizeOf(dimension.storage) <= header.recordLength);
    require(las.points->count() == header.pointCount && las.points->recordLength() == header.recordLength);
    for (const auto* records : {&las.vlrs, &las.evlrs})
        for (const auto& record : *records) corvane::readPayload(*las.file, record, 4096);
}

struct Position {
    double x, y, z;
};

/// Decodes the dimension and writes it back.
template <class Stored>
void rewrite(const corvane::Dimension& dimension, std::span<std::byte> records, std::size_t stride) {
    std::vector<Stored> values(records.size() / stride);
    if (dimension.packed())
        corvane::decodeBits(records, stride, dimension, std::span(values));
    else
        corvane::decodeValues<Stored>(records, stride, dimension, std::span(values));
    corvane::PointEdits({{dimension, 0, std::as_bytes(std::span(values))}}, nullptr).apply(records, stride, 0);
}

/// Every dimension of the points from `first` on, read and decoded; integers are written back as they were.
void decode(const corvane::LasFile& las, std::uint64_t first, std::size_t count) {
    const std::size_t stride = las.points->recordLength();
    std::vector<std::byte> records(count * stride);
    las.points->read(first, records);
    std::vector<Position> positions(count);
    corvane::decodePositions(records, stride, las.header, std::span(positions));
    for (const Position& position : positions)
        require(std::isfinite(position.x) && std::isfinite(position.y) && std::isfinite(position.z));
    const std::vector<std::byte> before = records;
    std::vector<double> numbers(count);
    for (std::size_t i = 0; i < las.dimensions.size(); ++i) {
        corvane::decodeNumbers(records, stride, las.asRead(i), std::span(numbers));
        corvane::withStored(las.dimensions[i].storage, [&](auto stored) {
            if constexpr (std::is_integral_v<decltype(stored)>)
                rewrite<decltype(stored)>(las.dimensions[i], records, stride);
        });
    }
    require(records == before);
}

/// The first and the last few points.
void decodeSome(const corvane::LasFile& las) {
    const std::uint64_t points = las.points->count(), some = std::min<std::uint64_t>(points, 10);
    if (points == 0) return;
    decode(las, 0, some);
    decode(las, points - some, some);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const corvane::fuzz::MemoryFile file;
    file.hold(std::as_bytes(std::span(data, size)));
    try {
        const auto las = corvane::LasFile::open(file.path);
        checkPromises(las);
        decodeSome(las);
    } catch (const corvane::Failure& failure) {
        // A sentence that names the file is how bad input ends.
        require(std::string_view(failure.what()).starts_with(file.path));
    }
    return 0;
}
