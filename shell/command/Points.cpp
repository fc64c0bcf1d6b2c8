// SPDX-License-Identifier: Apache-2.0
// corvane points: single points with all that the file says of them.
#include "base/OutputFile.hpp"
#include "base/Text.hpp"
#include "check/PointListing.hpp"
#include "check/RecordColumns.hpp"
#include "command/Commands.hpp"
#include "command/LimitOptions.hpp"
#include "command/Output.hpp"
#include "command/SoundParts.hpp"
#include "las/CoordinateText.hpp"
#include "survey/ClassNames.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace corvane {
namespace {

constexpr std::uint64_t ShownPoints = 100; // on a terminal, when nobody says how many

struct PointsArguments {
    std::string survey, out, format;
    std::vector<std::uint64_t> indices;
    std::vector<std::string> classes;
    LimitArguments limits;
    std::uint64_t most = 0;
    bool counted = false; ///< `most` was given
    bool overwrite = false;
};

ListingFormat formatOf(const PointsArguments& arguments) {
    if (arguments.format == "csv") return ListingFormat::Csv;
    if (arguments.format == "geojson") return ListingFormat::GeoJson;
    if (arguments.format == "table" || arguments.out.empty()) return ListingFormat::Table;
    if (const auto format = listingFormatOf(arguments.out)) return *format;
    throw UsageError(fmt::format("--out {}: points are written as CSV or GeoJSON; give the file the ending .csv or "
                                 ".geojson, or say --format.",
                                 arguments.out));
}

/// Where the text goes.
class Destination {
public:
    explicit Destination(const PointsArguments& arguments) {
        if (!arguments.out.empty()) file_.emplace(arguments.out, arguments.overwrite);
    }

    void write(std::string_view text) {
        if (file_)
            file_->write(std::as_bytes(std::span(text)));
        else
            fmt::print("{}", text);
    }

    std::vector<std::string> commit() { return file_ ? file_->commit() : std::vector<std::string>(); }

private:
    std::optional<OutputFile> file_;
};

/// Adds points by their numbers.
void addByIndex(const LasFile& las, const std::vector<std::uint64_t>& indices, PointListing& listing) {
    std::vector<std::byte> record(las.points->recordLength());
    for (const std::uint64_t index : indices) {
        if (index >= las.points->count())
            throw UsageError(fmt::format("--index {}: {} has {} points, counted from 0.", index, las.file->path(),
                                         las.points->count()));
        las.points->read(index, record);
        listing.add(index, record);
    }
}

/// Points by what they are.
struct Wanted {
    Kesh::LimitPtr limit;                    ///< null: any
    std::optional<std::vector<int>> classes; ///< ascending; none: any

    bool has(int value) const { return !classes || std::ranges::find(*classes, value) != classes->end(); }
};

/// Adds them, at most so many. Returns whether there are more.
bool addWanted(const LasFile& las, const Wanted& wanted, std::uint64_t most, PointListing& listing,
               const Watch& watch) {
    RecordColumns columns(las, wanted.limit, {ClassificationName});
    const std::size_t stride = las.points->recordLength(), piece = las.points->recordsIn(PointReader::CachedBytes);
    const auto cursor = las.points->ahead({0, static_cast<std::size_t>(las.points->count())});
    std::vector<std::byte> records;
    for (std::uint64_t first = 0; first < las.points->count(); first += piece) {
        records.resize(std::min<std::uint64_t>(piece, las.points->count() - first) * stride);
        cursor->next(records);
        columns.take(records);
        watch(first, las.points->count(), "Looking for points in " + las.file->path());
        for (const std::uint32_t i : columns.selected()) {
            if (!wanted.has(static_cast<int>(columns.numbers(0)[i]))) continue;
            if (listing.count() == most) return true;
            listing.add(first + i, std::span(records).subspan(i * stride, stride));
        }
    }
    return false;
}

std::uint64_t mostOf(const PointsArguments& arguments, ListingFormat format) {
    if (arguments.counted) return arguments.most;
    const bool onTerminal = format == ListingFormat::Table && arguments.out.empty();
    return onTerminal ? ShownPoints : std::numeric_limits<std::uint64_t>::max();
}

void run(const GlobalOptions& options, const PointsArguments& arguments, Reading reading) {
    const ListingFormat format = formatOf(arguments);
    if (!arguments.out.empty()) checkMayWrite(arguments.out, arguments.overwrite);
    CallLimits limits(arguments.limits);
    const auto opened = openSurvey(options, arguments.survey, reading);
    const Survey& survey = *opened;
    const LasFile las = survey.edited();
    Terminal terminal(options.quiet);
    Wanted wanted{limits.on(survey, [&](const std::string& sentence) { terminal.note(sentence); }), {}};
    if (!arguments.classes.empty())
        wanted.classes = ClassNames(survey, survey.findField(ClassificationName)).values("--class", arguments.classes);

    Destination destination(arguments);
    const auto labels = survey.labels();
    PointListing listing(las, format, "", labels, [&](std::string_view text) {
        terminal.clearBar();
        destination.write(text);
    });
    bool more = false;
    if (!arguments.indices.empty())
        addByIndex(las, arguments.indices, listing);
    else
        more = addWanted(las, wanted, mostOf(arguments, format), listing, terminal.watch());
    if (listing.count() == 0 && arguments.limits.any() && !limits.allowMiss())
        if (const std::string miss = limits.missOn(survey, std::nullopt, terminal.watch()); !miss.empty())
            throw Failure(fmt::format("{}: {}", arguments.survey, miss));
    listing.finish();
    for (const std::string& loss : destination.commit()) terminal.warn(fmt::format("{}: {}", arguments.out, loss));
    if (more && !arguments.counted)
        terminal.note(fmt::format("There are more than these {} points; give --limit another number, or write all of "
                                  "them into a file with --out.",
                                  listing.count()));
    if (!arguments.out.empty()) fmt::print("wrote {}: {}\n", arguments.out, pointsText(listing.count()));
    requireWhole(las);
}

void addOptions(CLI::App& command, PointsArguments& a) {
    command.add_option("FILE", a.survey, "The survey")->required();
    CLI::Option* index =
        command.add_option("--index", a.indices, "Numbers of points in the file, from 0, separated by commas")
            ->delimiter(',')
            ->allow_extra_args(false);
    command
        .add_option("--class", a.classes,
                    "Points of these classes: numbers, names, lists and ranges, e.g. 7,18 or building")
        ->allow_extra_args(false)
        ->excludes(index);
    addLimitOptions(command, a.limits);
    command.add_option("--limit", a.most,
                       fmt::format("At most so many points; otherwise {} in a table and all elsewhere", ShownPoints));
    command.add_option("--format", a.format, "table, csv or geojson; otherwise as the name of the file says")
        ->check(CLI::IsMember({"table", "csv", "geojson"}));
    CLI::Option* out = command.add_option("--out", a.out, "Write into this file: .csv or .geojson");
    command.add_flag("--overwrite", a.overwrite, "Replace the file if it exists")->needs(out);
}

} // namespace

void addPoints(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command = program.add_subcommand(
        "points", "Show points with all that the file says of them: by their numbers, or those of some classes.");
    const auto arguments = std::make_shared<PointsArguments>();
    addOptions(*command, *arguments);
    command->footer(R"(Examples:
  corvane points tile.laz --index 4711
  corvane points tile.laz --class 7,18 --out noise.geojson
  corvane points tile.laz --where "ReturnNumber == 1 && Z > 470" --limit 20)");
    command->callback([&options, arguments, command] {
        arguments->counted = command->count("--limit") > 0;
        if (!arguments->indices.empty() && arguments->limits.any())
            throw UsageError("--index: names points by number, and takes no limits besides.");
        readPolygonsOnce(arguments->limits);
        readingWhatIsSound({arguments->survey}, [&](Reading reading) { run(options, *arguments, reading); });
    });
}

} // namespace corvane
