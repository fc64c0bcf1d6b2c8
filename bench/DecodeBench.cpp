// SPDX-License-Identifier: Apache-2.0
#include "Comparison.hpp"
#include "Holdfast/Chunk.hpp"
#include "Paths.hpp"
#include "Sextant/Geometry.hpp"
#include "las/PointCodec.hpp"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <random>
#include <span>

namespace corvane::bench {
namespace {

using Point = Sextant::PhysicalSpace::point;

constexpr std::size_t Stride = 30; // bytes per record

/// Memory as fragments have it.
using Records = Holdfast::Chunk<std::byte>::Values;
using Positions = Holdfast::Chunk<Point>::Values;

Records randomRecords(std::size_t points) {
    Records records(points * Stride);
    std::mt19937_64 engine(1);
    for (std::byte& byte : records) byte = std::byte(engine());
    return records;
}

/// The loop that one writes first.
void decodePlainly(std::span<const std::byte> records, std::size_t stride, const LasHeader& header,
                   std::span<Point> positions) {
    for (std::size_t i = 0; i < positions.size(); ++i)
        for (int axis = 0; axis < 3; ++axis) {
            std::int32_t stored;
            std::memcpy(&stored, &records[i * stride + 4 * std::size_t(axis)], sizeof stored);
            positions[i][axis] = stored * header.scale[std::size_t(axis)] + header.offset[std::size_t(axis)];
        }
}

/// Decodes pieces of `pieceRecords` records into the memory of `points` points, piece after piece, from the same place:
/// as reading a file does.
void compare(const char* title, std::size_t points, std::size_t pieceRecords, double ask) {
    const Records records = randomRecords(pieceRecords);
    Positions positions(points), copied(points);
    LasHeader header;
    header.recordLength = Stride;
    header.offset = {500000, 5200000, 0};
    std::size_t stride = Stride;
    asm volatile("" : "+r"(stride)); // known at run time only
    const std::size_t rounds = 10'000'000 / points;
    const auto inPieces = [&](Positions& target, auto work) {
        return [&target, work, rounds, pieceRecords] {
            const std::span<Point> all(target);
            for (std::size_t round = 0; round < rounds; ++round)
                for (std::size_t i = 0; i < all.size(); i += pieceRecords) {
                    work(all.subspan(i, std::min(pieceRecords, all.size() - i)));
                    keep(target.data());
                }
        };
    };
    const double amount = 1e-6 * double(points * rounds);
    Comparison comparison(title, "M points");
    comparison.add("ours: decodePositions", amount, {}, inPieces(positions, [&](std::span<Point> piece) {
                       decodePositions(records, stride, header, piece);
                   }));
    comparison.add("memcpy of 24 bytes per point", amount, {.speedAtLeast = ask},
                   inPieces(copied, [&](std::span<Point> piece) {
                       std::memcpy(piece.data(), records.data(), piece.size_bytes());
                   }));
    comparison.add("plain loop, stride at run time", amount, {},
                   inPieces(copied, [&](std::span<Point> piece) { decodePlainly(records, stride, header, piece); }));
    comparison.print();
    const bool same = copied == positions; // the plain loop ran last
    fmt::print("  the same coordinates as from the plain loop: {}\n\n", same ? "yes" : "NO");
}

} // namespace

void benchDecode() {
    constexpr std::size_t Piece = (1 << 20) / Stride; // records in the 1 MiB that are read at a time
    compare("LAS records of 30 bytes to coordinates, pieces of 1 MiB to fragments of 131,072 points", 131'072, Piece,
            0.85);
    compare("The same, 10 million points from one array to another", 10'000'000, 10'000'000, 0.85);
}

} // namespace corvane::bench
