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

void checkFits(const Survey& survey, const Dimension& dimension, const SurveyField& field, std::uint32_t fragment) {
    const auto stored = survey.points().findField(field.name);
    const auto data = stored->getData(stored->fragments().at(fragment).id);
    const auto& values = dynamic_cast<const Fiber::MemArray<std::uint8_t>&>(*data).chunk.values;
    const auto tooLarge =
        std::find_if(values.begin(), values.end(), [&](auto value) { return value > dimension.largestValue(); });
    if (tooLarge == values.end()) return;
    throw Failure(
        fmt::format("{}: the value {} of point {} cannot be stored in \"{}\", which has {} bits. {} Nothing was "
                    "written.",
                    survey.path(), *tooLarge,
                    survey.ranges()[fragment].first + static_cast<std::uint64_t>(tooLarge - values.begin()),
                    dimension.name, dimension.bits, remedyFor(dimension, survey.las().header.pointFormat)));
}

std::vector<std::string> write(const Survey& survey, OutputFile& output, const FileChange& change,
                               const Packing& packing, const Watch& watch, const BeforeNaming& beforeNaming) {
    PointWriter(survey.las(), output, watch).write(survey.pointEdits(), change, packing);
    if (beforeNaming) beforeNaming(output.readablePath());
    std::error_code error;
    const bool itself = std::filesystem::equivalent(output.path(), survey.path(), error);
    auto warnings = output.commit();
    if (itself) survey.las().file->expectReplaced();
    return warnings;
}

} // namespace

/// A fragment at a time: all values of a large survey take much memory.
void checkMayBeSaved(const Survey& survey) {
    const LasFile& las = survey.las();
    if (!las.losses.empty())
        throw Failure(fmt::format("{}: is damaged, and saving would lose what cannot be read; save what is sound of it "
                                  "with corvane convert first. Nothing was written.",
                                  survey.path()));
    for (const SurveyField& field : survey.fields()) {
        if (field.dimension == SurveyField::None) continue;
        const Dimension& dimension = las.dimensions[field.dimension];
        if (dimension.packed())
            for (const std::uint32_t number : survey.editedFragments(field))
                checkFits(survey, dimension, field, number);
    }
}

FileChange changeOfLabels(const LasFile& las, const Kesh::LabelSet& labels, std::vector<std::string>& warnings) {
    return changeClassLookup(las, encodeClassLookup(labels, las.header.pointFormat, warnings));
}

std::vector<std::string> saveSurvey(const Survey& survey, const std::string& path, const SaveOptions& options) {
    const LasFile& las = survey.las();
    checkMayBeSaved(survey);
    std::vector<std::string> warnings;
    FileChange change;
    if (options.labels) change = changeOfLabels(las, *options.labels, warnings);
    OutputFile output(path, options.overwrite);
    std::ranges::move(write(survey, output, change, Packing::forName(path, las), options.watch, {}),
                      std::back_inserter(warnings));
    return warnings;
}

std::vector<std::string> replaceSurvey(const Survey& survey, const FileChange& change, const Watch& watch,
                                       const BeforeNaming& beforeNaming) {
    checkMayBeSaved(survey);
    OutputFile output(survey.path(), true);
    return write(survey, output, change, {survey.las().compression() != nullptr}, watch, beforeNaming);
}

} // namespace corvane
