// SPDX-License-Identifier: Apache-2.0
#include "las/LazPoints.hpp"

#include "base/Threads.hpp"
#include "las/Damage.hpp"

#include <algorithm>
#include <deque>
#include <future>
#include <mutex>
#include <thread>

namespace corvane {
namespace {

/// A chunk that is being decoded.
struct OpenChunk {
    std::size_t chunk = 0; // which one
    laz::LayerSet layers;
    std::uint64_t next = 0; // point of the chunk
    std::unique_ptr<laz::ChunkDecoder> decoder;
};

} // namespace

/// Decoders that stopped within a chunk, for those who go on there. A chunk of many points is read in several ranges;
/// without this each of them would begin at the first point of the chunk.
class LazPoints::Parking {
public:
    void park(OpenChunk open) {
        constexpr std::size_t most = 8; // a decoder takes some megabytes
        const std::scoped_lock lock(mutex_);
        parked_.push_back(std::move(open));
        if (parked_.size() > most) parked_.pop_front();
    }

    /// The one that is nearest before this point of the chunk; one without a decoder when there is none.
    OpenChunk take(std::size_t chunk, const laz::LayerSet& layers, std::uint64_t point) {
        const std::scoped_lock lock(mutex_);
        auto best = parked_.end();
        for (auto open = parked_.begin(); open != parked_.end(); ++open)
            if (open->chunk == chunk && open->layers == layers && open->next <= point &&
                (best == parked_.end() || best->next < open->next))
                best = open;
        if (best == parked_.end()) return {};
        OpenChunk taken = std::move(*best);
        parked_.erase(best);
        return taken;
    }

private:
    std::mutex mutex_;
    std::deque<OpenChunk> parked_; // the latest last
};

class LazPoints::Cursor : public PointCursor {
public:
    Cursor(const LazPoints& points, std::uint64_t first, const WantedBytes& wanted) : points_(points) {
        if (!wanted.empty() && layout().layered()) layers_ = laz::layersOf(layout(), wanted);
        const auto after = std::ranges::upper_bound(chunks(), first, {}, &LazChunk::first);
        chunk_ = static_cast<std::size_t>(after - chunks().begin());
        if (chunk_ == 0) return; // there are no points
        --chunk_;
        skip_ = first - chunks()[chunk_].first;
    }

    ~Cursor() override {
        if (open_.decoder && open_.next < chunks()[open_.chunk].sound) points_.parking_->park(std::move(open_));
    }

    void next(std::span<std::byte> records) override {
        const std::size_t stride = points_.recordLength();
        while (!records.empty()) {
            if (!open_.decoder) open();
            const std::uint64_t left = chunks()[chunk_].sound - open_.next;
            const auto piece = records.first(std::min<std::uint64_t>(left, records.size() / stride) * stride);
            decode(piece);
            records = records.subspan(piece.size());
            if (open_.next == chunks()[chunk_].sound) close();
        }
    }

private:
    const laz::Layout& layout() const { return points_.block_.layout; }
    const std::vector<LazChunk>& chunks() const { return points_.block_.chunks; }

    void open() {
        const LazChunk& chunk = chunks()[chunk_];
        if (skip_ > 0) open_ = points_.parking_->take(chunk_, layers_, skip_);
        if (!open_.decoder) {
            open_ = {chunk_, layers_, 0, nullptr};
            try {
                open_.decoder = laz::decodeChunk(layout(), readFrom(*points_.file_, chunk.offset), chunk.bytes,
                                                 chunk.points, layers_);
            } catch (const laz::Error& error) {
                fail(error.what());
            }
        }
        std::vector<std::byte> skipped;
        while (open_.next < skip_) {
            const std::uint64_t piece = std::min<std::uint64_t>(skip_ - open_.next, 1024);
            skipped.resize(piece * points_.recordLength());
            decode(skipped);
        }
        skip_ = 0;
    }

    void decode(std::span<std::byte> records) {
        const std::size_t count = records.size() / points_.recordLength();
        const std::size_t sound = open_.decoder->decode(records);
        if (sound < count)
            fail(fmt::format("found damage at point {}, expected {} points",
                             chunks()[chunk_].first + open_.next + sound, chunks()[chunk_].points));
        open_.next += count;
    }

    void close() {
        if (const bool whole = chunks()[chunk_].sound == chunks()[chunk_].points;
            layout().chunked() && whole && !open_.decoder->usedUp())
            fail("found bytes that no point needs, expected none");
        open_ = {};
        ++chunk_;
    }

    [[noreturn]] void fail(const std::string& problem) {
        open_ = {};
        const LazChunk& chunk = chunks()[chunk_];
        throw Failure(
            fmt::format("{}: in chunk {}, which has {} points from {} on at offset {}, {}; the file is damaged, "
                        "so get it again from where it came, or save what is sound of it with corvane convert.",
                        points_.file_->path(), chunk_, chunk.points, chunk.first, chunk.offset, problem));
    }

    const LazPoints& points_;
    laz::LayerSet layers_;   // all when empty
    std::size_t chunk_ = 0;  // at hand
    std::uint64_t skip_ = 0; // points of it, before it is open
    OpenChunk open_;
};

/// Has as many chunks decoded ahead as there are threads.
class LazPoints::AheadCursor : public PointCursor {
public:
    AheadCursor(const LazPoints& points, std::vector<PointRange> pieces, WantedBytes wanted)
        : points_(points), pieces_(std::move(pieces)), wanted_(std::move(wanted)) {}

    void next(std::span<std::byte> records) override {
        while (!records.empty()) {
            if (used_ == piece_.size()) {
                begin();
                piece_ = decoding_.front().get();
                decoding_.pop_front();
                used_ = 0;
            }
            const std::size_t bytes = std::min(records.size(), piece_.size() - used_);
            std::copy_n(piece_.begin() + static_cast<std::ptrdiff_t>(used_), bytes, records.begin());
            used_ += bytes;
            records = records.subspan(bytes);
        }
    }

private:
    /// Without a thread to be had the work is done when it is waited for.
    void begin() {
        const std::size_t most = mostThreads();
        for (; decoding_.size() < most && begun_ < pieces_.size(); ++begun_)
            decoding_.push_back(std::async(std::launch::async | std::launch::deferred, [this, range = pieces_[begun_]] {
                std::vector<std::byte> records(range.count * points_.recordLength());
                points_.read(range.first, records, wanted_);
                return records;
            }));
    }

    const LazPoints& points_;
    std::vector<PointRange> pieces_;
    WantedBytes wanted_;
    std::size_t begun_ = 0;
    std::vector<std::byte> piece_;                             // at hand
    std::size_t used_ = 0;                                     // bytes of it
    std::deque<std::future<std::vector<std::byte>>> decoding_; // waited for before anything else goes
};

LazPoints::LazPoints(std::shared_ptr<const InputFile> file, const LasHeader& header, LazBlock block)
    : PointReader(header.pointCount, header.recordLength),
      file_(std::move(file)),
      block_(std::move(block)),
      parking_(std::make_unique<Parking>()) {}

LazPoints::~LazPoints() = default;

std::unique_ptr<PointCursor> LazPoints::from(std::uint64_t first, const WantedBytes& wanted) const {
    return std::make_unique<Cursor>(*this, first, wanted);
}

std::unique_ptr<PointCursor> LazPoints::ahead(const PointRange& range, const WantedBytes& wanted) const {
    constexpr std::uint64_t largestChunk = 1
                                           << 20; // points: one that is larger is decoded in order, without holding it
    const std::uint64_t end = range.first + range.count;
    std::vector<PointRange> pieces;
    bool small = true;
    const auto& chunks = block_.chunks;
    auto chunk =
        std::ranges::partition_point(chunks, [&](const LazChunk& one) { return one.first + one.sound <= range.first; });
    for (; chunk != chunks.end() && chunk->first < end; ++chunk) {
        const std::uint64_t first = std::max(chunk->first, range.first);
        const std::uint64_t last = std::min(chunk->first + chunk->sound, end);
        pieces.push_back({first, static_cast<std::size_t>(last - first)});
        small = small && chunk->sound <= largestChunk;
    }
    if (pieces.size() < 2 || !small) return from(range.first, wanted);
    return std::make_unique<AheadCursor>(*this, std::move(pieces), wanted);
}

std::vector<PointRange> LazPoints::ranges(std::size_t points, Joining joining) const {
    std::vector<PointRange> ranges;
    bool open = false; // whether the last one takes more chunks
    for (const LazChunk& chunk : block_.chunks) {
        if (open && ranges.back().count + chunk.sound <= points) {
            ranges.back().count += chunk.sound;
            continue;
        }
        for (std::uint64_t done = 0; done < chunk.sound; done += ranges.back().count)
            ranges.push_back(
                {chunk.first + done, static_cast<std::size_t>(std::min<std::uint64_t>(chunk.sound - done, points))});
        open = joining == Joining::Small && chunk.sound <= points;
    }
    return ranges;
}

} // namespace corvane
