// SPDX-License-Identifier: Apache-2.0
// What a whole process that stands on the reference library takes: it decodes a file and counts the classes, or decodes
// and encodes it.
#include "Laszip.hpp"

#include <cstdio>

namespace {

using corvane::bench::Laszip;

void pass(const std::string& from, const std::string& to) {
    Laszip input, output;
    input.openReader(from);
    output.openWriter(to, input);
    const std::uint64_t points = input.points();
    for (std::uint64_t i = 0; i < points; ++i) {
        input.readPoint();
        auto& extraBytes = output.point().extra_bytes;
        laszip_U8* const own = extraBytes;
        output.point() = input.point();
        extraBytes = own;
        output.writePoint();
    }
    output.closeWriter();
    input.closeReader();
}

} // namespace

int main(int count, char** arguments) {
    try {
        if (count == 3) {
            pass(arguments[1], arguments[2]);
            return 0;
        }
        if (count == 2) {
            const auto classes = corvane::bench::decodeByLaszip(arguments[1]);
            for (std::size_t i = 0; i < classes.size(); ++i)
                if (classes[i] > 0) fmt::print("{} {}\n", i, classes[i]);
            return 0;
        }
    } catch (const corvane::Failure& failure) {
        fmt::print(stderr, "{}\n", failure.what());
        return 1;
    }
    fmt::print(stderr, "usage: corvane_bench_laszip IN.laz [OUT.laz]; files without extra bytes.\n");
    return 2;
}
