// SPDX-License-Identifier: Apache-2.0
#include "session/IdentityOf.hpp"

#include "base/Failure.hpp"
#include "store/Checksum.hpp"

#include <array>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <span>
#include <sys/stat.h>

namespace corvane {

SurveyIdentity identityOf(const LasFile& las, const FileRuns& runs) {
    struct stat state {};
    if (fstat(las.file->descriptor(), &state) != 0)
        throw Failure(fmt::format("{}: its time cannot be read: {}.", las.file->path(), std::strerror(errno)));
    std::vector<std::byte> head(las.storedHeader().offsetToPoints);
    las.file->read(0, head);
    runs.applyTo(0, head);
    std::uint32_t checksum = crc32Of(head);
    if (const LazBlock* block = las.compression())
        for (const LazChunk& chunk : block->chunks) {
            const std::array numbers = {chunk.points, chunk.offset, chunk.bytes};
            checksum = crc32Of(std::as_bytes(std::span(numbers)), checksum);
        }
    constexpr std::int64_t Second = 1'000'000'000; // in nanoseconds
    return {las.file->size(), checksum, state.st_mtim.tv_sec * Second + state.st_mtim.tv_nsec};
}

bool sameHead(const SurveyIdentity& a, const SurveyIdentity& b) {
    return a.size == b.size && a.headChecksum == b.headChecksum;
}

} // namespace corvane
