// SPDX-License-Identifier: Apache-2.0
#include "Comparison.hpp"
#include "Paths.hpp"
#include "TemporarySurvey.hpp"
#include "base/Failure.hpp"
#include "survey/Survey.hpp"
#include "survey/SurveySaver.hpp"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>
#include <vector>

namespace corvane::bench {
namespace {

constexpr std::uint64_t Points = 10'000'000;

/// Every other point of each n-th fragment gets class 6.
void editFragments(const Survey& survey, std::uint32_t n) {
    const auto field = survey.points().findField(ClassificationName);
    field->iterate([&](const auto& fragment, const auto& array) {
        if (fragment->number() % n != 0) return true;
        const auto copy = array->privateCopy();
        const auto values = copy->template writableData<std::uint8_t>()->writableValues();
        for (std::size_t i = 0; i < values.size(); i += 2) values[i] = 6;
        field->setPersistentData(copy, fragment);
        return true;
    });
}

void expect(bool done, const std::string& path) {
    if (!done) throw Failure(fmt::format("{}: copying failed: {}.", path, std::strerror(errno)));
}

/// The least that leaves a whole new file on the disc: system calls and nothing else.
void copySyncRename(const std::string& from, const std::string& to) {
    const std::string part = to + ".part";
    const int input = open(from.c_str(), O_RDONLY | O_CLOEXEC);
    const int output = open(part.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    expect(input >= 0 && output >= 0, part);
    static std::vector<std::byte> buffer(1 << 20);
    ssize_t got = 0;
    while ((got = read(input, buffer.data(), buffer.size())) > 0)
        expect(write(output, buffer.data(), std::size_t(got)) == got, part);
    expect(got == 0 && fsync(output) == 0 && rename(part.c_str(), to.c_str()) == 0, to);
    close(input);
    close(output);
}

} // namespace

void benchSave() {
    const TemporarySurvey file(Points);
    for (const auto& [n, where] : {std::pair(1U, "every fragment"), std::pair(20U, "one fragment in twenty")}) {
        const Survey survey(file.path());
        editFragments(survey, n);
        const double amount = 1e-6 * double(survey.las().file->size());
        Comparison comparison(fmt::format("Saving a survey of 300 MB with edits in {}", where), "MB",
                              Comparison::BoundBy::Disc);
        comparison.add("ours: saveSurvey", amount, {},
                       [&] { saveSurvey(survey, file.sibling("ours.las"), {.overwrite = true}); });
        comparison.add("copy, sync, rename", amount, {.timeAtMost = 1.15},
                       [&] { copySyncRename(file.path(), file.sibling("copy.las")); });
        comparison.print();
        fmt::print("\n");
    }
}

} // namespace corvane::bench
