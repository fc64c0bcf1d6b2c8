// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace corvane::bench {

/// A generated survey (records of 30 bytes unless told otherwise, in the order of the flight) in a folder of its own
/// under TMPDIR, both removed at the end.
class TemporarySurvey {
public:
    explicit TemporarySurvey(std::uint64_t points, int pointFormat = 6);
    ~TemporarySurvey();
    TemporarySurvey(const TemporarySurvey&) = delete;
    TemporarySurvey& operator=(const TemporarySurvey&) = delete;

    std::string path() const { return sibling("survey.las"); }

    /// Another file in the same folder.
    std::string sibling(const std::string& name) const { return folder_ / name; }

private:
    std::filesystem::path folder_;
};

} // namespace corvane::bench
