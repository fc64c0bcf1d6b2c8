// SPDX-License-Identifier: Apache-2.0
#include "store/EditPatch.hpp"

#include "base/ByteCode.hpp"
#include "base/Failure.hpp"
#include "base/Text.hpp"
#include "store/Checksum.hpp"

#include <algorithm>
#include <cassert>
#include <fmt/format.h>

namespace corvane {
namespace {

constexpr std::string_view Magic = "CvPatch\n";
constexpr std::uint32_t Version = 1;
constexpr std::uint32_t BlockPoints = 65536;
constexpr std::uint64_t LongestName = 1000, LongestBlock = 1 << 20; // bytes
enum Section : std::uint8_t { FieldSection = 'F', BlockSection = 'B', EndSection = 'E' };

std::uint32_t pointsOfBlock(std::uint64_t number, std::uint64_t points) {
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(BlockPoints, points - number * BlockPoints));
}

/// Reads a file from its beginning to its end, in pieces.
class Scan {
public:
    explicit Scan(const InputFile& file) : file_(file) {}

    std::uint64_t offset() const { return windowBegin_ + at_; }
    std::uint32_t checksum() const { return checksum_; } ///< of everything before

    std::span<const std::byte> bytes(std::uint64_t count) {
        if (count > file_.size() - offset())
            fail(fmt::format("{} bytes are expected where the file has {}", count, file_.size() - offset()));
        if (count > window_.size() - at_) refill();
        const auto taken = std::span<const std::byte>(window_).subspan(at_, static_cast<std::size_t>(count));
        at_ += taken.size();
        checksum_ = crc32Of(taken, checksum_);
        return taken;
    }

    std::uint8_t byte() { return std::to_integer<std::uint8_t>(bytes(1)[0]); }

    std::uint64_t number(std::uint64_t most) {
        Bytes read;
        do read.push_back(bytes(1)[0]);
        while (read.size() < 10 && (read.back() & std::byte{0x80}) != std::byte{0});
        try {
            return ByteReader(read).number(most);
        } catch (const BadBytes& error) {
            fail(error.what());
        }
    }

    template <class T>
    T fixed() {
        return ByteReader(bytes(sizeof(T))).fixed<T>();
    }

    [[noreturn]] void fail(const std::string& what) const {
        throw Failure(fmt::format("{}: is damaged or no patch: before byte {}: {}. Get it again from where it came.",
                                  file_.path(), offset(), what));
    }

private:
    /// The window is larger than anything that is read at once.
    void refill() {
        windowBegin_ += at_;
        at_ = 0;
        window_.resize(static_cast<std::size_t>(std::min(file_.size() - windowBegin_, 2 * LongestBlock)));
        file_.read(windowBegin_, window_);
    }

    const InputFile& file_;
    Bytes window_;
    std::uint64_t windowBegin_ = 0;
    std::size_t at_ = 0;
    std::uint32_t checksum_ = 0;
};

} // namespace

PatchWriter::PatchWriter(const std::string& path, std::uint64_t points, bool overwrite)
    : file_(path, overwrite), points_(points) {
    Bytes head;
    putBytes(head, bytesOf(Magic));
    putFixed(head, Version);
    putFixed(head, points_);
    write(head);
}

void PatchWriter::write(std::span<const std::byte> bytes) {
    checksum_ = crc32Of(bytes, checksum_);
    file_.write(bytes);
}

void PatchWriter::beginField(const std::string& name, int width) {
    flushBlock();
    assert(name.size() <= LongestName && std::ranges::find(names_, name) == names_.end());
    names_.push_back(name);
    Bytes head{std::byte{FieldSection}};
    putNumber(head, name.size());
    putBytes(head, bytesOf(name));
    head.push_back(static_cast<std::byte>(width));
    write(head);
    block_.emplace(width, 0);
    number_ = 0;
}

void PatchWriter::add(std::uint64_t first, const FragmentChange& change) {
    assert(block_ && first <= points_ && change.points() <= points_ - first);
    const std::uint64_t end = first + change.points();
    for (std::uint64_t begin = first; begin < end;) {
        const std::uint64_t number = begin / BlockPoints;
        if (number != number_) {
            const int width = block_->width();
            flushBlock();
            block_.emplace(width, 0);
            number_ = number;
        }
        const auto inBlock = static_cast<std::uint32_t>(begin - number * BlockPoints);
        const auto count = static_cast<std::uint32_t>(std::min(end, (number + 1) * BlockPoints) - begin);
        assert(block_->points() <= inBlock);
        block_->append(FragmentChange(block_->width(), inBlock - block_->points()));
        block_->append(change.part(static_cast<std::uint32_t>(begin - first), count));
        begin += count;
    }
}

void PatchWriter::flushBlock() {
    if (!block_ || block_->empty()) return;
    block_->append(FragmentChange(block_->width(), pointsOfBlock(number_, points_) - block_->points()));
    const Bytes change = block_->encode();
    Bytes head{std::byte{BlockSection}};
    putNumber(head, number_);
    putNumber(head, change.size());
    write(head);
    write(change);
    block_.reset();
}

std::vector<std::string> PatchWriter::commit() {
    flushBlock();
    const std::byte end{EndSection};
    write(std::span(&end, 1));
    const std::uint32_t checksum = checksum_;
    file_.write(std::as_bytes(std::span(&checksum, 1)));
    return file_.commit();
}

EditPatch::EditPatch(const std::string& path) : file_(path) {
    Scan scan(file_);
    if (file_.size() < Magic.size() || !std::ranges::equal(scan.bytes(Magic.size()), bytesOf(Magic)))
        throw Failure(fmt::format("{}: is no patch; name a file that \"corvane patch\" wrote.", path));
    if (const auto version = scan.fixed<std::uint32_t>(); version != Version)
        throw Failure(fmt::format("{}: is a patch of version {} where {} is expected; use the newer program that wrote "
                                  "it.",
                                  path, version, Version));
    points_ = scan.fixed<std::uint64_t>();
    for (std::uint8_t section = scan.byte(); section != EndSection; section = scan.byte()) {
        if (section == FieldSection) {
            const auto name = scan.bytes(scan.number(LongestName));
            Field field{{reinterpret_cast<const char*>(name.data()), name.size()}};
            field.width = scan.byte();
            if (field.width != 1 && field.width != 2) scan.fail(fmt::format("values of {} bytes", field.width));
            if (std::ranges::find(fields_, field.name, &Field::name) != fields_.end())
                scan.fail(fmt::format("the field \"{}\" stands there twice", escaped(field.name)));
            fields_.push_back(std::move(field));
            blocks_.emplace_back();
        } else if (section == BlockSection && !fields_.empty()) {
            const std::uint64_t blocks = points_ / BlockPoints + (points_ % BlockPoints > 0);
            const std::uint64_t number = scan.number(~std::uint64_t{0});
            if (number >= blocks || (!blocks_.back().empty() && number <= blocks_.back().back().number))
                scan.fail(fmt::format("block {} of {} is not behind the one before", number, blocks));
            const std::uint64_t length = scan.number(LongestBlock);
            const Block block{number, scan.offset(), static_cast<std::uint32_t>(length)};
            fields_.back().changed += decoded(fields_.size() - 1, number, scan.bytes(length)).changed();
            blocks_.back().push_back(block);
        } else {
            scan.fail(fmt::format("a section of the kind {} is not known here", section));
        }
    }
    const std::uint32_t checksum = scan.checksum();
    if (scan.fixed<std::uint32_t>() != checksum) scan.fail("the checksum does not agree with what stands before it");
    if (scan.offset() != file_.size()) scan.fail(fmt::format("{} bytes follow the end", file_.size() - scan.offset()));
}

FragmentChange EditPatch::decoded(std::size_t field, std::uint64_t number, std::span<const std::byte> bytes) const {
    try {
        return FragmentChange::decode(bytes, fields_[field].width, pointsOfBlock(number, points_));
    } catch (const BadBytes& error) {
        throw Failure(fmt::format("{}: is damaged: field \"{}\", block {}: {}. Get it again from where it came.",
                                  path(), escaped(fields_[field].name), number, error.what()));
    }
}

std::optional<FragmentChange> EditPatch::change(std::size_t field, std::uint64_t first, std::uint32_t count) const {
    assert(first <= points_ && count <= points_ - first);
    const int width = fields_[field].width;
    const auto& blocks = blocks_[field];
    const std::uint64_t end = first + count;
    FragmentChange change(width, 0);
    const auto padTo = [&](std::uint64_t point) {
        change.append(FragmentChange(width, static_cast<std::uint32_t>(point - first) - change.points()));
    };
    auto block = std::ranges::lower_bound(blocks, first / BlockPoints, {}, &Block::number);
    for (; block != blocks.end() && block->number * BlockPoints < end; ++block) {
        Bytes bytes(block->length);
        file_.read(block->offset, bytes);
        const FragmentChange whole = decoded(field, block->number, bytes);
        const std::uint64_t start = block->number * BlockPoints;
        const std::uint64_t from = std::max(first, start), to = std::min(end, start + whole.points());
        padTo(from);
        change.append(whole.part(static_cast<std::uint32_t>(from - start), static_cast<std::uint32_t>(to - from)));
    }
    file_.checkUnchanged(); // since its checksum was computed
    if (change.empty()) return std::nullopt;
    padTo(end);
    return change;
}

} // namespace corvane
