// SPDX-License-Identifier: Apache-2.0
#include "TemporarySurvey.hpp"

#include "base/Failure.hpp"
#include "sample/SampleSurvey.hpp"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>

namespace corvane::bench {
namespace {

std::filesystem::path makeFolder() {
    std::string name = std::filesystem::temp_directory_path() / "corvane_bench.XXXXXX";
    if (!mkdtemp(name.data()))
        throw Failure(fmt::format("{}: the folder cannot be made: {}. Set TMPDIR to a folder that you may write to.",
                                  name, std::strerror(errno)));
    return name;
}

} // namespace

TemporarySurvey::TemporarySurvey(std::uint64_t points, int pointFormat) : folder_(makeFolder()) {
    SampleOptions options;
    options.points = points;
    options.pointFormat = pointFormat;
    try {
        writeSampleSurvey(path(), options);
    } catch (...) {
        std::filesystem::remove_all(folder_);
        throw;
    }
}

TemporarySurvey::~TemporarySurvey() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

} // namespace corvane::bench
