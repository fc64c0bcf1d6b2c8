// SPDX-License-Identifier: Apache-2.0
#include "base/Failure.hpp"
#include "las/LasFile.hpp"

#include <cstdint>
#include <cstdlib>
#include <fmt/format.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

/// A file in memory, with a path, rewritten for every input.
struct MemoryFile {
    int descriptor = memfd_create("input.las", MFD_CLOEXEC);
    std::string path = fmt::format("/proc/self/fd/{}", descriptor);

    void hold(const std::uint8_t* data, std::size_t size) const {
        if (ftruncate(descriptor, 0) != 0 || pwrite(descriptor, data, size, 0) != static_cast<ssize_t>(size))
            std::abort();
    }
};

void require(bool holds) {
    if (!holds) std::abort();
}

/// What an opened file promises to those who read its points.
void checkPromises(const corvane::LasFile& las) {
    const auto& header = las.header;
    require(header.pointFormat <= 10 && header.recordLength >= corvane::recordLengthOf(header.pointFormat));
    require(header.offsetToPoints <= las.file->size());
    require(header.pointCount <= (las.file->size() - header.offsetToPoints) / header.recordLength);
    for (const auto& dimension : las.dimensions)
        require(dimension.offset + corvane::sizeOf(dimension.storage) <= header.recordLength);
    for (const auto* records : {&las.vlrs, &las.evlrs})
        for (const auto& record : *records) corvane::readPayload(*las.file, record, 4096);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const MemoryFile file;
    file.hold(data, size);
    try {
        const auto las = corvane::LasFile::open(file.path);
        checkPromises(las);
    } catch (const corvane::Failure& failure) {
        // A sentence that names the file is how bad input ends.
        require(std::string_view(failure.what()).starts_with(file.path));
    }
    return 0;
}
