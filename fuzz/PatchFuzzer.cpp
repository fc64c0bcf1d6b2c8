// SPDX-License-Identifier: Apache-2.0
// Any bytes as a patch, with the checksum that belongs to them. What can be read is a patch, which gives the same when
// it is read in other pieces and written again.
#include "MemoryFile.hpp"
#include "base/ByteCode.hpp"
#include "base/Failure.hpp"
#include "store/Checksum.hpp"
#include "store/EditPatch.hpp"

#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>

namespace {

using namespace corvane;
using fuzz::require;

constexpr std::uint64_t FewPoints = 1'000'000;

void readInPieces(const EditPatch& patch, std::size_t field, std::uint32_t step) {
    std::uint64_t changed = 0;
    FragmentChange together(patch.fields()[field].width, 0);
    for (std::uint64_t first = 0; first < patch.points(); first += step) {
        const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(step, patch.points() - first));
        const auto part = patch.change(field, first, count);
        require(!part || (part->points() == count && !part->empty()));
        if (part) changed += part->changed();
        together.append(part ? *part : FragmentChange(together.width(), count));
    }
    require(changed == patch.fields()[field].changed);
    const auto whole = patch.change(field, 0, static_cast<std::uint32_t>(patch.points()));
    require(whole ? *whole == together : together.empty());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const fuzz::MemoryFile file;
    if (size < 3) return 0;
    Bytes bytes;
    putBytes(bytes, bytesOf("CvPatch\n"));
    putFixed(bytes, std::uint32_t{1});
    putFixed(bytes, std::uint64_t{data[0]} << data[1] % 56 | data[2]); // points
    putBytes(bytes, std::as_bytes(std::span(data, size).subspan(3)));
    const std::uint32_t checksum = crc32Of(bytes);
    putFixed(bytes, checksum);
    file.hold(bytes);
    try {
        const EditPatch patch(file.path);
        for (std::size_t i = 0; i < patch.fields().size(); ++i) {
            if (patch.points() <= FewPoints) readInPieces(patch, i, 50'000);
            if (patch.points() > FewPoints) patch.change(i, patch.points() - FewPoints, FewPoints);
        }
    } catch (const Failure& failure) {
        require(std::string_view(failure.what()).starts_with(file.path));
    }
    return 0;
}
