// SPDX-License-Identifier: Apache-2.0
// corvane info: what a LAS file says of itself, without reading the points; with --stats what they say, too.
#include "base/Text.hpp"
#include "check/ClassNames.hpp"
#include "check/PointTally.hpp"
#include "command/Batch.hpp"
#include "command/Commands.hpp"
#include "command/Output.hpp"
#include "command/SoundParts.hpp"
#include "las/CoordinateText.hpp"
#include "las/CoordinateUnit.hpp"
#include "las/CrsText.hpp"
#include "survey/SurveyFields.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <functional>
#include <optional>

namespace corvane {
namespace {

/// "LASF_Projection/2112:639": user, record number, bytes.
std::vector<std::string> describe(const std::vector<LasRecord>& records) {
    std::vector<std::string> texts;
    for (const LasRecord& record : records)
        texts.push_back(fmt::format("{}/{}:{}", record.userId, record.recordId, record.payloadLength));
    return texts;
}

/// Nothing for records as they are.
Json compressionOf(const LasFile& las) {
    const LazBlock* block = las.compression();
    if (!block) return nullptr;
    Json compression{{"kind", las.copc ? "COPC" : "LAZ"},
                     {"compressor", static_cast<int>(block->layout.compressor)},
                     {"itemVersion", block->layout.items.front().version},
                     {"chunks", block->chunks.size()}};
    if (block->layout.chunked() && !block->layout.variable()) compression["chunkPoints"] = block->layout.chunkPoints;
    if (las.copc) compression["spacing"] = las.copc->spacing;
    return compression;
}

/// The same in words.
std::string compressionText(const LasFile& las) {
    const LazBlock* block = las.compression();
    if (!block) return "none";
    const std::string chunks = fmt::format("{} chunk{}", block->chunks.size(), block->chunks.size() == 1 ? "" : "s");
    if (las.copc)
        return fmt::format("COPC, an octree of {} nodes, {} units between points at its root", block->chunks.size(),
                           las.copc->spacing);
    if (!block->layout.chunked()) return "LAZ, one stream";
    if (block->layout.variable()) return fmt::format("LAZ, {} of variable size", chunks);
    return fmt::format("LAZ, {} of {} points", chunks, block->layout.chunkPoints);
}

/// Nothing for records that are stored as they are shown.
Json storedOf(const LasFile& las) {
    if (!las.compatibility) return nullptr;
    return {{"pointFormat", las.storedFormat()}, {"recordLength", las.stored->recordLength()}};
}

/// "2026-04-05"; empty for a header that does not say it, or no day of that year.
std::string dateOf(const LasHeader& header) {
    using namespace std::chrono;
    const year in(header.creationYear);
    const int days = in.is_leap() ? 366 : 365;
    if (header.creationYear == 0 || header.creationDay == 0 || header.creationDay > days) return "";
    const year_month_day date(sys_days(in / January / 1) + std::chrono::days(header.creationDay - 1));
    return fmt::format("{:04}-{:02}-{:02}", int(date.year()), unsigned(date.month()), unsigned(date.day()));
}

/// Points in a square unit of the header's bounds; 0 when these have no area.
double densityOf(const LasHeader& header) {
    const double area = (header.maximum[0] - header.minimum[0]) * (header.maximum[1] - header.minimum[1]);
    return area > 0 && std::isfinite(area) ? double(header.pointCount) / area : 0;
}

/// By number, without those behind the last that occurs.
std::vector<std::uint64_t> returnsOf(const LasHeader& header) {
    std::vector<std::uint64_t> counts(header.returnCounts.begin(), header.returnCounts.end());
    while (!counts.empty() && counts.back() == 0) counts.pop_back();
    return counts;
}

/// What reading the points tells.
struct Statistics {
    PointTally tally;
    std::optional<Kesh::LabelSet> names;
};

struct FlagName {
    const char* name;
    PointTally::Flag flag;
};
constexpr std::array Flags{FlagName{"Synthetic", PointTally::Synthetic}, FlagName{"KeyPoint", PointTally::KeyPoint},
                           FlagName{"Withheld", PointTally::Withheld}};

std::uint64_t flagged(const PointTally& tally, PointTally::Flag flag) {
    std::uint64_t points = 0;
    for (int value = 0; value < int(PointTally::Classes); ++value) points += tally.of(value, flag).count;
    return points;
}

/// As coordinates, the smaller first.
std::array<double, 2> foundRange(const LasHeader& header, const StoredBox& box, std::size_t axis) {
    const auto coordinate = [&](std::int32_t stored) {
        return plainCoordinate(header, axis, stored * header.scale[axis] + header.offset[axis]);
    };
    const std::array<double, 2> range{coordinate(box.low[axis]), coordinate(box.high[axis])};
    return {std::min(range[0], range[1]), std::max(range[0], range[1])};
}

Json describe(const LasFile& las, const Statistics& statistics) {
    const std::uint64_t total = las.header.pointCount;
    const auto share = [total](std::uint64_t count) { return 100 * double(count) / double(total); };
    Json classes = Json::array(), flags = Json::object(), bounds;
    for (int value = 0; value < int(PointTally::Classes); ++value)
        if (const std::uint64_t count = statistics.tally.of(value).count; count > 0)
            classes.push_back({{"value", value},
                               {"label", escaped(classNameOf(value, las, statistics.names))},
                               {"count", count},
                               {"percent", share(count)}});
    for (const FlagName& flag : Flags) flags[flag.name] = flagged(statistics.tally, flag.flag);
    for (std::size_t axis = 0; axis < 3 && total > 0; ++axis) {
        const auto [low, high] = foundRange(las.header, statistics.tally.box, axis);
        bounds["min"].push_back(low);
        bounds["max"].push_back(high);
    }
    return {{"classes", classes}, {"flags", flags}, {"bounds", bounds}};
}

Json describe(const LasFile& las) {
    Json fields = Json::array();
    for (const SurveyField& field : fieldsOf(las)) fields.push_back({{"name", field.name}, {"type", field.type}});
    const LasHeader& header = las.header;
    const CrsLabel crs = crsLabel(las.crs);
    const auto orNull = [](const std::string& text) { return text.empty() ? Json() : Json(escaped(text)); };
    return {{"points", header.pointCount},
            {"version", header.version()},
            {"pointFormat", header.pointFormat},
            {"recordLength", header.recordLength},
            {"stored", storedOf(las)},
            {"compression", compressionOf(las)},
            {"created", orNull(dateOf(header))},
            {"software", escaped(header.generatingSoftware)},
            {"system", escaped(header.systemIdentifier)},
            {"scale", header.scale},
            {"offset", header.offset},
            {"bounds",
             {{"min", plainCoordinates(header, header.minimum)}, {"max", plainCoordinates(header, header.maximum)}}},
            {"density", densityOf(header)},
            {"returns", returnsOf(header)},
            {"crs", escaped(las.crs)},
            {"crsName", orNull(crs.name)},
            {"crsCode", orNull(crs.code)},
            {"unit", orNull(coordinateUnit(las.crs))},
            {"fields", fields},
            {"vlrs", describe(las.vlrs)},
            {"evlrs", describe(las.evlrs)}};
}

std::string returnsText(const LasHeader& header) {
    std::string text;
    const auto counts = returnsOf(header);
    for (std::size_t i = 0; i < counts.size(); ++i)
        text += fmt::format("{}{}: {} ({})", i == 0 ? "" : ", ", i + 1, counts[i],
                            percentText(counts[i], std::max(header.pointCount, counts[i])));
    return text.empty() ? "not counted" : text;
}

std::string unitText(const LasFile& las) {
    const std::string unit = coordinateUnit(las.crs);
    return unit.empty() ? "unit" : escaped(unit);
}

std::string crsText(const LasFile& las) {
    if (las.crs.empty()) return "not given";
    const std::string name = crsLabel(las.crs).text();
    return fmt::format("{}, in units of a {}", escaped(name.empty() ? las.crs : name), unitText(las));
}

std::string createdText(const LasHeader& header) {
    const std::string date = dateOf(header);
    return fmt::format("{} by \"{}\", system \"{}\"", date.empty() ? "at an unknown date" : date,
                       escaped(header.generatingSoftware), escaped(header.systemIdentifier));
}

void print(const LasFile& las) {
    const LasHeader& header = las.header;
    fmt::print("{} points, LAS {}, point format {}, {} bytes each\n", header.pointCount, header.version(),
               header.pointFormat, header.recordLength);
    if (las.compatibility)
        fmt::print("stored  as point format {}, {} bytes each, for programs that know LAS 1.3 at most\n",
                   las.storedFormat(), las.stored->recordLength());
    fmt::print("made    {}\n", createdText(header));
    for (std::size_t axis = 0; axis < 3; ++axis)
        fmt::print("{}       {} to {}, in steps of {} from {}\n", "XYZ"[axis],
                   coordinateText(header, axis, header.minimum[axis]),
                   coordinateText(header, axis, header.maximum[axis]), std::abs(header.scale[axis]),
                   header.offset[axis]);
    if (const double density = densityOf(header); density > 0)
        fmt::print("density {:.4g} points per square {}\n", density, unitText(las));
    fmt::print("returns {}\n", returnsText(header));
    fmt::print("packed  {}\n", compressionText(las));
    fmt::print("crs     {}\n", crsText(las));
    fmt::print("vlrs    {}\nevlrs   {}\nfields\n", fmt::join(describe(las.vlrs), ", "),
               fmt::join(describe(las.evlrs), ", "));
    for (const SurveyField& field : fieldsOf(las)) fmt::print("        {:<20} {}\n", field.name, field.type);
}

void print(const LasFile& las, const Statistics& statistics) {
    const std::uint64_t total = las.header.pointCount;
    fmt::print("found in the points\n");
    for (std::size_t axis = 0; axis < 3 && total > 0; ++axis) {
        const auto [low, high] = foundRange(las.header, statistics.tally.box, axis);
        fmt::print("        {} {} to {}\n", "XYZ"[axis], coordinateText(las.header, axis, low),
                   coordinateText(las.header, axis, high));
    }
    for (const FlagName& flag : Flags)
        if (const std::uint64_t points = flagged(statistics.tally, flag.flag); points > 0)
            fmt::print("        {:<28} {:>13} {:>9}\n", flag.name, points, percentText(points, total));
    fmt::print("classes\n");
    for (int value = 0; value < int(PointTally::Classes); ++value)
        if (const std::uint64_t points = statistics.tally.of(value).count; points > 0)
            fmt::print("        {:<28} {:>13} {:>9}\n", escaped(classText(value, las, statistics.names)), points,
                       percentText(points, total));
}

struct InfoArguments {
    std::string survey;
    bool statistics = false;
};

/// A file of which only its head is looked at.
LasFile openHead(const GlobalOptions& options, const std::string& path, Reading reading) {
    LasFile las = LasFile::open(path, reading);
    Terminal terminal(options.quiet);
    for (const std::string& warning : las.warnings) terminal.warn(path + ": " + warning);
    if (const std::string store = editStorePath(path, options.edits); EditStore::exists(store))
        terminal.note(fmt::format("{}: edits of it are kept in {}; --stats reads the points with them.", path, store));
    return las;
}

std::string orphanText(const std::string& store, const std::string& survey) {
    return fmt::format("{}: keeps edits of {}, which is not there. Put the survey back beside it, or forget the edits "
                       "with corvane discard.",
                       store, survey);
}

/// A survey that is gone, and has left its edits.
void requireSurvey(const GlobalOptions& options, const std::string& path) {
    const std::string store = editStorePath(path, options.edits);
    if (std::error_code error; !std::filesystem::exists(path, error) && EditStore::exists(store))
        throw Failure(orphanText(store, path));
}

void warnOfOrphans(const GlobalOptions& options, const std::vector<std::string>& folders) {
    Terminal terminal(options.quiet);
    std::error_code error;
    for (const std::string& folder : folders)
        for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
            const std::filesystem::path survey = std::filesystem::path(entry.path()).replace_extension();
            if (entry.path().extension() == ".edits" && !std::filesystem::exists(survey, error))
                terminal.warn(orphanText(entry.path(), survey));
        }
}

/// What one file says; `say` gets it before it is told that it is damaged.
using Answered = std::function<void(const LasFile& las, const std::optional<Statistics>& statistics)>;
void look(const GlobalOptions& options, const InfoArguments& arguments, Reading reading, const Answered& say) {
    if (!arguments.statistics) {
        const LasFile las = openHead(options, arguments.survey, reading);
        say(las, std::nullopt);
        return requireWhole(las);
    }
    const auto survey = openSurvey(options, arguments.survey, reading);
    const LasFile las = survey->edited();
    say(las, [&] {
        Terminal terminal(options.quiet);
        return Statistics{tallyPoints(las, terminal.watch()), survey->labels()};
    }());
    requireWhole(las);
}

Json answerOf(const LasFile& las, const std::optional<Statistics>& statistics) {
    Json document = describe(las);
    if (statistics) document["stats"] = describe(las, *statistics);
    return document;
}

void lookAtOne(const GlobalOptions& options, const InfoArguments& arguments, bool json) {
    requireSurvey(options, arguments.survey);
    readingWhatIsSound({arguments.survey}, [&](Reading reading) {
        look(options, arguments, reading, [&](const LasFile& las, const std::optional<Statistics>& statistics) {
            if (json) return printJson(answerOf(las, statistics));
            print(las);
            if (statistics) print(las, *statistics);
        });
    });
}

void answerFor(const GlobalOptions& options, const InfoArguments& arguments, Json& answer) {
    readingWhatIsSound({arguments.survey}, [&](Reading reading) {
        look(options, arguments, reading, [&](const LasFile& las, const std::optional<Statistics>& statistics) {
            answer = {{"file", arguments.survey}};
            answer.update(answerOf(las, statistics));
        });
    });
}

void lookAtMany(const CLI::App& command, const GlobalOptions& options, const InfoArguments& arguments,
                const BatchArguments& batch, bool json) {
    const auto job = [&](const FileTask& task, const GlobalOptions& given, Json& answer) {
        InfoArguments one = arguments;
        one.survey = task.in;
        answerFor(given, one, answer);
    };
    warnOfOrphans(options, batch.files);
    if (!json) printHead(fmt::format("{:>13}  {:<4} {:>6}  {:<36}  {}", "points", "LAS", "format", "crs", "file"));
    std::uint64_t points = 0;
    const auto text = [](const Json& value) {
        return value.is_string() ? value.get_ref<const std::string&>() : std::string();
    };
    const auto answers = forEachFile(
        command, options, batch, tasksFor(surveysNamed(batch.files), batch), job, [&](const FileAnswer& one) {
            if (!one.error.empty()) printError(one.error);
            if (one.answer.is_null()) return;
            points += one.answer["points"].get<std::uint64_t>();
            if (json) return;
            const std::string name = text(one.answer["crsName"]), code = text(one.answer["crsCode"]);
            printLine(fmt::format("{:>13}  {:<4} {:>6}  {:<36}  {}", one.answer["points"].get<std::uint64_t>(),
                                  text(one.answer["version"]), one.answer["pointFormat"].get<int>(),
                                  code.empty() ? name : code + (name.empty() ? "" : " " + name), escaped(one.task.in)));
        });
    if (json)
        printJson(batchAsJson(answers, {{"files", answers.size()}, {"points", points}}));
    else
        fmt::print("{} in {} files\n", pointsText(points), answers.size());
    requireAllWell(answers);
}

} // namespace

void addInfo(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command =
        program.add_subcommand("info", "Show what a LAS file says of itself; without --stats no point is read.");
    const auto arguments = std::make_shared<InfoArguments>();
    const auto batch = std::make_shared<BatchArguments>();
    command->add_option("FILES", batch->files, "Surveys, folders of them, and patterns such as 'tiles/*.laz'")
        ->required();
    command->add_flag("--stats", arguments->statistics,
                      "Read the points, too: their classes with counts, their flags and bounds");
    addBatchOptions(*command, *batch, false);
    const auto json = addJsonFlag(*command);
    command->callback([command, &options, arguments, batch, json] {
        if (batch->files.size() != 1 || namesSeveral(batch->files[0]))
            return lookAtMany(*command, options, *arguments, *batch, *json);
        arguments->survey = batch->files[0];
        lookAtOne(options, *arguments, *json);
    });
    command->footer(R"(Examples:
  corvane info tile.laz --stats
  corvane info tiles/)");
}

} // namespace corvane
