// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/Failure.hpp"

#include <cstdint>
#include <fmt/format.h>
#include <laszip/laszip_api.h>
#include <string>
#include <vector>

namespace corvane::bench {

/// The library that LAZ comes from. Only where CORVANE_BENCH_LASZIP names it.
class Laszip {
public:
    Laszip() { expect(laszip_create(&handle_)); }
    ~Laszip() { laszip_destroy(handle_); }
    Laszip(const Laszip&) = delete;
    Laszip& operator=(const Laszip&) = delete;

    /// Opens a file whose points follow one by one. `layers` are those of laszip_decompress_selective.
    void openReader(const std::string& path, std::uint32_t layers = laszip_DECOMPRESS_SELECTIVE_ALL) {
        laszip_BOOL compressed = 0;
        expect(laszip_decompress_selective(handle_, layers));
        expect(laszip_open_reader(handle_, path.c_str(), &compressed));
        take();
    }

    /// Makes a compressed file like the one that another reads.
    void openWriter(const std::string& path, const Laszip& like) {
        expect(laszip_set_header(handle_, like.header_));
        expect(laszip_request_native_extension(handle_, 1));
        expect(laszip_preserve_generating_software(handle_, 1));
        expect(laszip_open_writer(handle_, path.c_str(), 1));
        take();
    }

    std::uint64_t points() const {
        return header_->number_of_point_records != 0 ? header_->number_of_point_records
                                                     : header_->extended_number_of_point_records;
    }

    /// The point that is read and written; its extra bytes belong to the library.
    laszip_point_struct& point() { return *point_; }

    void readPoint() { expect(laszip_read_point(handle_)); }
    void writePoint() { expect(laszip_write_point(handle_)); }
    void closeReader() { expect(laszip_close_reader(handle_)); }
    void closeWriter() { expect(laszip_close_writer(handle_)); }

private:
    void take() {
        expect(laszip_get_header_pointer(handle_, &header_));
        expect(laszip_get_point_pointer(handle_, &point_));
    }

    void expect(laszip_I32 failed) const {
        if (failed == 0) return;
        laszip_CHAR* error = nullptr;
        laszip_get_error(handle_, &error);
        throw Failure(fmt::format("The reference library failed: {}.", error ? error : "it does not say why"));
    }

    laszip_POINTER handle_ = nullptr;
    laszip_header_struct* header_ = nullptr;
    laszip_point_struct* point_ = nullptr;
};

/// Decodes a file. Returns how many points it has of each class, so that nothing can be left out.
inline std::vector<std::uint64_t> decodeByLaszip(const std::string& path,
                                                 std::uint32_t layers = laszip_DECOMPRESS_SELECTIVE_ALL) {
    Laszip file;
    file.openReader(path, layers);
    std::vector<std::uint64_t> classes(256);
    const std::uint64_t points = file.points();
    for (std::uint64_t i = 0; i < points; ++i) {
        file.readPoint();
        ++classes[file.point().extended_classification];
    }
    file.closeReader();
    return classes;
}

} // namespace corvane::bench
