// SPDX-License-Identifier: Apache-2.0
#include "Comparison.hpp"
#include "Paths.hpp"
#include "TemporarySurvey.hpp"
#include "las/LasFile.hpp"
#include "las/PointWriter.hpp"
#include "laz/Chunk.hpp"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <optional>
#ifdef CORVANE_BENCH_LASZIP
#include "Laszip.hpp"
#endif

namespace corvane::bench {
namespace {

constexpr std::uint64_t Points = 1'000'000;
constexpr double Amount = 1e-6 * double(Points);

using Bytes = std::vector<std::byte>;

/// A survey packed and unpacked, in memory and as a file.
struct Packed {
    explicit Packed(int format) : survey(Points, format) {
        OutputFile output(path(), true);
        const LasFile plain = LasFile::open(survey.path());
        PointWriter(plain, output, {}).write({}, {}, {true});
        output.commit();
        const LasFile las = LasFile::open(path());
        layout = las.compression()->layout;
        for (const LazChunk& chunk : las.compression()->chunks) {
            chunks.emplace_back(chunk.bytes);
            las.file->read(chunk.offset, chunks.back());
        }
        records.resize(Points * layout.recordLength());
        las.points->read(0, records);
    }

    std::string path() const { return survey.sibling("survey.laz"); }

    std::span<std::byte> ofChunk(std::span<std::byte> all, std::size_t i) const {
        const std::size_t bytes = layout.chunkPoints * layout.recordLength(), begin = i * bytes;
        return all.subspan(begin, std::min(bytes, all.size() - begin));
    }

    TemporarySurvey survey;
    laz::Layout layout;
    std::vector<Bytes> chunks;
    Bytes records;
};

/// Calls `work(i)` for each chunk on so many threads.
template <class Work>
void eachChunk(const Packed& packed, int threads, Work work) {
    const std::size_t count = packed.chunks.size();
#pragma omp parallel for num_threads(threads) schedule(dynamic)
    for (std::size_t i = 0; i < count; ++i) work(i);
}

void decodeChunks(const Packed& packed, int threads, const laz::LayerSet& layers, std::span<std::byte> records) {
    eachChunk(packed, threads, [&](std::size_t i) {
        const Bytes& chunk = packed.chunks[i];
        const auto read = [&chunk](std::uint64_t offset, std::span<std::byte> bytes) {
            std::memcpy(bytes.data(), chunk.data() + offset, bytes.size());
        };
        const auto into = packed.ofChunk(records, i);
        laz::decodeChunk(packed.layout, read, chunk.size(), into.size() / packed.layout.recordLength(), layers)
            ->decode(into);
    });
}

void encodeChunks(Packed& packed, int threads, std::vector<Bytes>& chunks) {
    eachChunk(packed, threads, [&](std::size_t i) {
        const auto encoder = laz::encodeChunk(packed.layout);
        encoder->encode(packed.ofChunk(packed.records, i));
        chunks[i] = encoder->finish();
    });
}

/// Ours, a way that takes the number of threads, beside the reference library on one.
struct Asks {
    double oneThread, twoThreads;
};
template <class Ours, class AddOthers>
void compare(const std::string& title, const Asks& asks, Ours ours, AddOthers addOthers) {
    Comparison one(title + ", one thread", "M points");
    one.add("ours", Amount, {}, [&] { ours(1); });
    addOthers(one, Ask{.speedAtLeast = asks.oneThread});
    one.print();
    fmt::print("\n");
    Comparison two(title + ", two threads (cpu/wall of ours is to be near 2)", "M points");
    two.add("ours", Amount, {}, [&] { ours(2); });
    two.add("ours, one thread", Amount, {.speedAtLeast = 1.8}, [&] { ours(1); });
    addOthers(two, Ask{.speedAtLeast = asks.twoThreads});
    two.print();
    fmt::print("\n");
}

#ifdef CORVANE_BENCH_LASZIP
void addReferenceDecoder(Comparison& comparison, const Packed& packed, Ask ask) {
    comparison.add("reference library, whole records", Amount, ask, [&] {
        const auto classes = decodeByLaszip(packed.path());
        keep(classes.data());
    });
}

/// Points as the library has them, and a file to write them to.
class ReferenceEncoder {
public:
    explicit ReferenceEncoder(const Packed& packed) : path_(packed.survey.sibling("reference.laz")) {
        like_.openReader(packed.path());
        for (std::uint64_t i = 0; i < Points; ++i) {
            like_.readPoint();
            points_.push_back(like_.point());
        }
    }

    void run() {
        Laszip output;
        output.openWriter(path_, like_);
        for (const laszip_point_struct& point : points_) {
            output.point() = point;
            output.writePoint();
        }
        output.closeWriter();
    }

private:
    std::string path_;
    Laszip like_;
    std::vector<laszip_point_struct> points_;
};
#endif

void addMemcpy(Comparison& comparison, const Packed& packed, Bytes& copy) {
    comparison.add("memcpy of the records", Amount, {}, [&] {
        std::memcpy(copy.data(), packed.records.data(), copy.size());
        keep(copy.data());
    });
}

void benchDecoding(const Packed& packed, int format) {
    Bytes decoded(packed.records.size()), copy(packed.records.size());
    const auto decode = [&](const std::string& what, const Asks& asks, const std::vector<laz::LayerKind>& kinds) {
        laz::LayerSet layers;
        if (!kinds.empty())
            for (const laz::Layer& layer : packed.layout.layers())
                layers.push_back(std::ranges::find(kinds, layer.kind) != kinds.end());
        compare(
            fmt::format("Decoding {} of format {}, chunks of 50,000 points", what, format), asks,
            [&](int threads) { decodeChunks(packed, threads, layers, decoded); },
            [&](Comparison& comparison, [[maybe_unused]] Ask ask) {
                addMemcpy(comparison, packed, copy);
#ifdef CORVANE_BENCH_LASZIP
                addReferenceDecoder(comparison, packed, ask);
#endif
            });
    };
    using enum laz::LayerKind;
    decode("whole records", {1.3, 2.4}, {});
    fmt::print("  the records that were packed: {}\n\n", decoded == packed.records ? "yes" : "NO");
    if (!packed.layout.layered()) return;
    decode("positions", {2, 3.7}, {First, Height});
    decode("layer 1 and classes", {3.5, 6.5}, {First, Class});
}

void benchEncoding(Packed& packed, int format) {
    std::vector<Bytes> chunks(packed.chunks.size());
    Bytes copy(packed.records.size());
#ifdef CORVANE_BENCH_LASZIP
    ReferenceEncoder reference(packed);
#endif
    compare(
        fmt::format("Encoding format {}, chunks of 50,000 points", format), {1.2, 2.2},
        [&](int threads) { encodeChunks(packed, threads, chunks); },
        [&](Comparison& comparison, [[maybe_unused]] Ask ask) {
            addMemcpy(comparison, packed, copy);
#ifdef CORVANE_BENCH_LASZIP
            comparison.add("reference library", Amount, ask, [&] { reference.run(); });
#endif
        });
}

} // namespace

void benchLaz() {
    for (const int format : {1, 3, 6, 7}) {
        Packed packed(format);
        benchDecoding(packed, format);
        benchEncoding(packed, format);
    }
}

} // namespace corvane::bench
