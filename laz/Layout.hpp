// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace laz {

/// What makes compressed points unreadable: a finished clause without a full stop, "found ..., expected ...".
struct Error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Bytes of a record, and which bits of each.
struct RecordBytes {
    std::size_t begin = 0, end = 0;
    std::uint8_t bits = 0xFF;
};

/// How points are compressed: the payload of the VLR "laszip encoded" 22204.
enum class Compressor : std::uint16_t {
    None = 0,
    Stream = 1,    ///< point by point, all points in one stream
    Pointwise = 2, ///< point by point, in chunks
    Layered = 3,   ///< in chunks, each of whose layers is a stream
};

/// The fields of a record that are compressed together. The numbers are those of the format.
enum class ItemKind : std::uint16_t {
    ExtraBytes = 0,
    Point10 = 6,
    GpsTime = 7,
    Colour = 8,
    WavePacket = 9,
    Point14 = 10,
    Colour14 = 11,
    ColourNearInfrared14 = 12,
    WavePacket14 = 13,
    ExtraBytes14 = 14,
};

struct Item {
    ItemKind kind;
    std::uint16_t size; ///< bytes in the record
    std::uint16_t version;
};

enum class LayerKind {
    First,
    Height,
    Class,
    Flags,
    Intensity,
    Angle,
    User,
    Source,
    Time,
    Colour,
    NearInfrared,
    WavePacket,
    ExtraByte
};

/// A stream of its own in a layered chunk: some bytes of each record.
struct Layer {
    LayerKind kind;
    std::size_t item = 0;  ///< where the item of the layer begins in the record
    bool historic = false; ///< versions 2 and 3 of an item other than the point: see LayerContexts

    /// Whether it holds any of these bits of this byte of the record.
    bool holds(std::size_t byte, std::uint8_t bits) const;
};

struct Layout {
    static constexpr std::uint32_t Variable = 0xFFFFFFFF; ///< chunks have as many points as the chunk table says
    static constexpr std::uint32_t UsualChunk = 50000;    ///< points

    Compressor compressor = Compressor::Pointwise;
    std::uint32_t options = 0;              ///< bit 0: compatibility mode
    std::uint32_t chunkPoints = UsualChunk; ///< or Variable
    std::int64_t specialCount = -1;         ///< of special EVLRs; -1: none
    std::int64_t specialOffset = -1;        ///< of the first one, in the file
    std::vector<Item> items;                ///< in the order of the record

    bool chunked() const { return compressor != Compressor::Stream; }
    bool layered() const { return compressor == Compressor::Layered; }
    bool variable() const { return chunkPoints == Variable; }
    std::size_t recordLength() const; ///< bytes

    /// Fewest bytes that a chunk takes.
    std::size_t smallestChunk() const;

    /// The layers in their order in a chunk; none unless it is layered.
    std::vector<Layer> layers() const;

    /// Reads the payload of the VLR and checks that it describes records of this point format and length, in a way that
    /// can be decoded. Throws Error.
    static Layout parse(std::span<const std::byte> payload, std::uint8_t pointFormat, std::size_t recordLength);

    /// What every reader reads.
    static Layout standard(std::uint8_t pointFormat, std::size_t recordLength, std::uint32_t chunkPoints = UsualChunk);

    /// The payload of the VLR.
    std::vector<std::byte> encode() const;

    /// Where the fields stand in the payload that move when the points take more or fewer bytes.
    static constexpr std::size_t SpecialOffsetPlace = 24;
};

} // namespace laz
