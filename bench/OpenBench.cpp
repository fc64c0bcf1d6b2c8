// SPDX-License-Identifier: Apache-2.0
#include "Comparison.hpp"
#include "Fiber/FragmentBox.hpp"
#include "Paths.hpp"
#include "TemporarySurvey.hpp"
#include "survey/Survey.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <vector>

namespace corvane::bench {
namespace {

constexpr std::uint64_t Points = 20'000'000;
const SurveyOptions Roomy{.memoryBytes = std::size_t{4} << 30};

void load(const Survey& survey, const std::string& field) {
    survey.points().findField(field)->iterate([](const auto&, const auto& array) {
        keep(array->getData().get());
        return true;
    });
}

/// Every byte of the file once, as it is read for decoding.
void readAll(const InputFile& file, std::vector<std::byte>& buffer) {
    for (std::uint64_t offset = 0; offset < file.size(); offset += buffer.size())
        file.read(offset, std::span(buffer).first(std::min<std::uint64_t>(buffer.size(), file.size() - offset)));
}

} // namespace

void benchOpen() {
    const TemporarySurvey survey(Points);
    const double amount = 1e-6 * double(Points);
    std::vector<std::byte> buffer(1 << 20);
    const InputFile file(survey.path());

    Comparison opening("Opening 20 million points (600 MB, cached) until they can be asked for and edited", "M points");
    opening.add("ours: Survey", amount, {}, [&] { keep(&Survey(survey.path()).points()); });
    opening.add("reading the file once", amount, {}, [&] { readAll(file, buffer); });
    opening.print(200);

    Comparison loading("\nThe same, until all positions and classes are in memory", "M points");
    loading.add("ours: Survey, both fields loaded", amount, {}, [&] {
        const Survey opened(survey.path(), Roomy);
        load(opened, Fiber::PositionsName);
        load(opened, "Classification");
    });
    loading.add("reading the file once", amount, {}, [&] { readAll(file, buffer); });
    loading.print();
    fmt::print("\n");
}

} // namespace corvane::bench
