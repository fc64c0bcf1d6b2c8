// SPDX-License-Identifier: Apache-2.0
#include "survey/SurveySaver.hpp"

#include "base/Failure.hpp"
#include "las/LookupChange.hpp"
#include "las/PointWriter.hpp"
#include "las/StandardClasses.hpp"
#include "survey/ClassLookup.hpp"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>

namespace corvane {
namespace {

void checkFits(const Survey& survey, const Survey::Edit& edit) {
    const Dimension& dimension = survey.las().dimensions[edit.field->dimension];
    if (!dimension.packed()) return;
    const auto& values = dynamic_cast<const Fiber::MemArray<std::uint8_t>&>(*edit.values).chunk.values;
    const auto tooLarge =
        std::find_if(values.begin(), values.end(), [&](auto value) { return value > dimension.largestValue(); });
    if (tooLarge == values.end()) return;
    throw Failure(
        fmt::format("{}: the value {} of point {} cannot be stored in \"{}\", which has {} bits. {} Nothing was "
                    "written.",
                    survey.path(), *tooLarge, edit.range.first + (tooLarge - values.begin()), dimension.name,
                    dimension.bits, remedyFor(dimension, survey.las().header.pointFormat)));
}

} // namespace

std::vector<std::string> saveSurvey(const Survey& survey, const std::string& path, const SaveOptions& options) {
    const LasFile& las = survey.las();
    if (!las.losses.empty())
        throw Failure(fmt::format("{}: is damaged, and saving would lose what cannot be read; save what is sound of it "
                                  "with corvane convert first. Nothing was written.",
                                  survey.path()));
    for (const Survey::Edit& edit : survey.edits()) checkFits(survey, edit);
    std::vector<std::string> warnings;
    FileChange change;
    if (options.labels)
        change = changeClassLookup(las, encodeClassLookup(*options.labels, las.header.pointFormat, warnings));

    OutputFile output(path, options.overwrite);
    PointWriter(las, output, options.watch).write(survey.pointEdits(), change, Packing::forName(path, las));
    std::error_code error;
    const bool itself = std::filesystem::equivalent(path, survey.path(), error);
    std::ranges::move(output.commit(), std::back_inserter(warnings));
    if (itself) las.file->expectReplaced();
    return warnings;
}

} // namespace corvane
