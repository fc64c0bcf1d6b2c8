// SPDX-License-Identifier: Apache-2.0
#include "survey/SurveySaver.hpp"

#include "base/Failure.hpp"
#include "base/OutputFile.hpp"
#include "survey/ClassLookup.hpp"
#include "survey/LookupChange.hpp"
#include "survey/PointCodec.hpp"

#include <algorithm>
#include <fmt/format.h>

namespace corvane {
namespace {

constexpr std::size_t CopyBytes = std::size_t{1} << 20;

/// Calls the function with the values of an edit as a span of what they are: any storage that a record has.
template <class Function>
void withEditedValues(const Survey::Edit& edit, Function function) {
    Fiber::visitArray<std::uint8_t, std::int8_t, std::uint16_t, std::int16_t, std::uint32_t, std::int32_t,
                      std::uint64_t, std::int64_t, float, double>(*edit.values,
                                                                  [&](const auto& array) { function(array.values()); });
}

std::string remedyFor(const Dimension& dimension, std::uint8_t pointFormat) {
    if (dimension.name == "Classification" && pointFormat <= 5)
        return fmt::format(
            "In point format {} the classes are 0 to 31, since the other three bits of the byte are flags; "
            "choose such a class, or convert the file to one of the point formats 6 to 10 first.",
            pointFormat);
    return fmt::format("Choose a value from 0 to {}.", dimension.largestValue());
}

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

/// Writes an edit's values into the records from `first` on, as far as it has any there.
void patch(std::span<std::byte> records, std::uint64_t first, const Survey& survey, const Survey::Edit& edit) {
    const std::size_t stride = survey.las().header.recordLength;
    const std::uint64_t begin = std::max(first, edit.range.first);
    const std::uint64_t end = std::min(first + records.size() / stride, edit.range.first + edit.range.count);
    if (begin >= end) return;
    const Dimension& dimension = survey.las().dimensions[edit.field->dimension];
    withEditedValues(edit, [&](auto values) {
        const auto part = values.subspan(begin - edit.range.first, end - begin);
        const auto place = records.subspan((begin - first) * stride, (end - begin) * stride);
        if constexpr (std::same_as<decltype(part), const std::span<const std::uint8_t>>)
            if (dimension.packed()) return encodeBits(place, stride, dimension, part);
        encodeValues(place, stride, dimension, part);
    });
}

/// Copies bytes of the survey's file, a piece at a time, each shown to `change(bytes, offset)` first.
class Copier {
public:
    Copier(const InputFile& input, OutputFile& output,
           const std::function<bool(std::uint64_t, std::uint64_t)>& progress)
        : input_(input), output_(output), progress_(progress), buffer_(CopyBytes) {}

    template <class Change>
    void copy(std::uint64_t begin, std::uint64_t end, std::size_t unit, Change change) {
        if (buffer_.values.size() < unit) buffer_.values.resize(unit);
        const std::size_t piece = buffer_.values.size() / unit * unit;
        while (begin < end) {
            const auto bytes = std::span(buffer_.values).first(std::min<std::uint64_t>(piece, end - begin));
            input_.read(begin, bytes);
            change(bytes, begin);
            output_.write(bytes);
            begin += bytes.size();
            if (progress_ && !progress_(begin, input_.size()))
                throw Failure("Saving was interrupted; nothing was written.");
        }
    }

private:
    const InputFile& input_;
    OutputFile& output_;
    const std::function<bool(std::uint64_t, std::uint64_t)>& progress_;
    Holdfast::Chunk<std::byte> buffer_;
};

using ProgressFunction = std::function<bool(std::uint64_t done, std::uint64_t total)>;

void save(const Survey& survey, const std::string& path, const FileChange& change, const ProgressFunction& progress) {
    const std::vector<Survey::Edit> edits = survey.edits();
    for (const Survey::Edit& edit : edits) checkFits(survey, edit);

    const LasHeader& header = survey.las().header;
    const std::uint64_t points = header.offsetToPoints;
    const InputFile& input = *survey.las().file;
    OutputFile output(path);
    Copier copier(input, output, progress);
    const auto applyChange = [&](std::span<std::byte> bytes, std::uint64_t offset) { change.apply(bytes, offset); };

    copier.copy(0, change.insertAt, 1, applyChange);
    output.write(change.inserted);
    copier.copy(change.insertAt, points, 1, applyChange);
    auto next = edits.begin(); // those before it end before the records at hand
    copier.copy(points, header.pointsEnd(), header.recordLength,
                [&](std::span<std::byte> records, std::uint64_t offset) {
                    const std::uint64_t first = (offset - points) / header.recordLength;
                    const std::uint64_t end = first + records.size() / header.recordLength;
                    while (next != edits.end() && next->range.first + next->range.count <= first) ++next;
                    for (auto edit = next; edit != edits.end() && edit->range.first < end; ++edit)
                        patch(records, first, survey, *edit);
                });
    copier.copy(header.pointsEnd(), input.size(), 1, applyChange);
    output.commit();
}

} // namespace

void saveSurvey(const Survey& survey, const std::string& path, const ProgressFunction& progress) {
    save(survey, path, {}, progress);
}

std::vector<std::string> saveSurvey(const Survey& survey, const std::string& path, const Kesh::LabelSet& labels,
                                    const ProgressFunction& progress) {
    std::vector<std::string> warnings;
    auto payload = encodeClassLookup(labels, survey.las().header.pointFormat, warnings);
    save(survey, path, changeClassLookup(survey.las(), std::move(payload)), progress);
    for (std::string& warning : warnings) warning = path + ": " + warning;
    return warnings;
}

} // namespace corvane
