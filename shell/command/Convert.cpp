// SPDX-License-Identifier: Apache-2.0
// corvane convert: the same points packed in another way, or in another point format.
#include "base/InOrder.hpp"
#include "base/OutputFile.hpp"
#include "base/Text.hpp"
#include "command/Batch.hpp"
#include "command/Commands.hpp"
#include "command/Output.hpp"
#include "command/SoundParts.hpp"
#include "las/CopcWriter.hpp"
#include "las/FormatChange.hpp"
#include "las/PointCodec.hpp"
#include "las/PointWriter.hpp"

#include <fmt/format.h>

#include <chrono>
#include <functional>

namespace corvane {
namespace {

struct ConvertArguments {
    std::string in, out;
    std::optional<std::uint32_t> chunkPoints;
    std::optional<unsigned> pointFormat;
    bool copc = false;
    bool overwrite = false;
};

/// Counts the sound points of a damaged survey by return, as its header must say from now on.
void countReturns(LasFile& las) {
    const Dimension& returns = *las.find("ReturnNumber");
    las.header.returnCounts.fill(0);
    std::vector<std::uint8_t> numbers;
    las.points->forPieces({0, las.header.pointCount}, {returns.place()},
                          [&](std::span<const std::byte> records, std::size_t, std::size_t count) {
                              numbers.resize(count);
                              decodeBits(records, las.points->recordLength(), returns, std::span(numbers));
                              for (const std::uint8_t number : numbers)
                                  if (number > 0) ++las.header.returnCounts[number - 1u];
                          });
}

/// Chunks that are copied as they are would take their damage along.
void checkPoints(const LasFile& las, const Watch& watch) {
    const auto ranges = las.points->ranges(laz::Layout::UsualChunk);
    inOrder(
        ranges.size(),
        [&](std::size_t i) {
            std::vector<std::byte> records(ranges[i].count * las.points->recordLength());
            las.points->read(ranges[i].first, records);
            return i;
        },
        [&](std::size_t i, std::size_t) { watch(ranges[i].first, las.header.pointCount, "Checking the points"); });
}

/// What is to be written: how the points are packed, and how the header changes.
struct Plan {
    Packing packing;
    FileChange change;
    std::vector<std::string> notices;
    bool copc = false; ///< the points are put into an octree
};

/// Told by the option, or by the name; an octree whose chunks are copied stays one.
bool makesOctree(const LasFile& las, const ConvertArguments& arguments) {
    return arguments.copc || (arguments.out.ends_with(".copc.laz") && (!las.copc || arguments.pointFormat));
}

Plan planFor(const LasFile& las, const ConvertArguments& arguments) {
    Plan plan{Packing::forName(arguments.out, las), {}, {}, makesOctree(las, arguments)};
    if (plan.copc && !plan.packing.compressed)
        throw UsageError(
            fmt::format("--copc: {} names a file that is not compressed; name it .copc.laz.", arguments.out));
    if (plan.copc && arguments.chunkPoints)
        throw UsageError(
            fmt::format("--chunk: {} will be an octree, whose chunks are its nodes; name it .laz, or leave "
                        "the option out.",
                        arguments.out));
    if (plan.copc && las.compatibility)
        throw Failure(
            fmt::format("{}: its points are stored in a form for older programs, which no octree holds; convert it "
                        "with --point-format {} first.",
                        arguments.in, las.header.pointFormat));
    plan.packing.chunkPoints = arguments.chunkPoints;
    if (arguments.chunkPoints && !plan.packing.compressed)
        throw UsageError(fmt::format("--chunk: {} will not be compressed and has no chunks; name it .laz, or leave the "
                                     "option out.",
                                     arguments.out));
    const bool ordinary = !las.compatibility && arguments.pointFormat == las.header.pointFormat;
    if (arguments.pointFormat && !ordinary) {
        FormatChange format = changeFormat(las, static_cast<std::uint8_t>(*arguments.pointFormat));
        plan.packing.records = std::move(format.points);
        plan.packing.pointFormat = format.pointFormat;
        plan.change = std::move(format.change);
        plan.notices = std::move(format.notices);
    } else if (!las.losses.empty()) {
        plan.packing.records = las.stored;
        plan.packing.pointFormat = las.storedFormat();
        if (las.compatibility)
            plan.change.overwrite(las.compatibility->countsOffset(), CompatibilityForm::countsOf(las.header));
        std::vector<std::byte> header = las.storedHeader().encode();
        header.resize(las.header.standardSize());
        plan.change.replaceHeader(las.header.standardSize(), std::move(header));
    }
    return plan;
}

/// What was written.
struct Written {
    std::uint64_t points, bytes;
    double seconds;
};

Written convert(const GlobalOptions& options, const ConvertArguments& arguments, Reading reading) {
    checkMayWriteSurvey(arguments.out, arguments.overwrite);
    const auto survey = openSurvey(options, arguments.in, reading);
    LasFile las = survey->edited();
    if (!las.losses.empty()) countReturns(las);
    Plan plan = planFor(las, arguments);
    Terminal terminal(options.quiet);
    for (const std::string& notice : plan.notices) terminal.note(arguments.out + ": " + notice);
    const auto begin = std::chrono::steady_clock::now();
    const Watch watch = terminal.watch();
    const bool copies = las.compression() && plan.packing.compressed && !plan.copc;
    if (copies) checkPoints(las, watch);
    OutputFile output(arguments.out, arguments.overwrite);
    if (plan.copc) {
        const std::size_t memory = options.memory.empty() ? SurveyOptions().memoryBytes : parseMemory(options.memory);
        const auto& records = plan.packing.records;
        writeCopc(las, records ? *records : *las.points, records ? plan.packing.pointFormat : las.header.pointFormat,
                  output, watch, memory);
    } else {
        const bool madeAnew = plan.packing.records != nullptr; // out of points that have the edits already
        PointWriter(las, output, watch)
            .write(madeAnew ? PointEdits() : survey->pointEdits(), std::move(plan.change), plan.packing);
    }
    const std::uint64_t bytes = output.size();
    for (const std::string& warning : output.commit()) terminal.warn(arguments.out + ": " + warning);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    return {las.header.pointCount, bytes, taken.count()};
}

/// Says what was written of a file even if that is not all of it.
void run(const GlobalOptions& options, const ConvertArguments& arguments,
         const std::function<void(const Written&)>& say) {
    readingWhatIsSound({arguments.in}, [&](Reading reading) {
        say(convert(options, arguments, reading));
        if (reading == Reading::Sound) requireWhole(LasFile::open(arguments.in, reading));
    });
}

Json asJson(const ConvertArguments& arguments, const Written& written) {
    return {{"file", arguments.in},
            {"points", written.points},
            {"written", {{"file", arguments.out}, {"bytes", written.bytes}, {"seconds", written.seconds}}}};
}

void convertOne(const GlobalOptions& options, ConvertArguments& arguments, const std::vector<std::string>& files,
                bool json) {
    if (files.size() < 2) throw UsageError("OUT is missing: name the file to write, or a folder with --out-dir.");
    arguments.in = files[0];
    arguments.out = files[1];
    run(options, arguments, [&](const Written& written) {
        if (json) return printJson(asJson(arguments, written));
        if (!options.quiet) printWritten(arguments.out, written.points, written.bytes, written.seconds);
    });
}

void convertMany(const CLI::App& command, const GlobalOptions& options, ConvertArguments& arguments,
                 BatchArguments& batch, bool json) {
    if (batch.outDir.empty()) throw UsageError("Several files are converted into a folder: give --out-dir FOLDER.");
    if (batch.suffix.empty() && arguments.copc) batch.suffix = ".copc.laz";
    batch.overwrite = arguments.overwrite;
    const auto tasks = tasksFor(surveysNamed(batch.files), batch);
    arguments.overwrite |= batch.resume; // what the record does not know was refused before
    std::uint64_t points = 0, bytes = 0;
    const auto answers = forEachFile(
        command, options, batch, tasks,
        [&](const FileTask& task, const GlobalOptions& given, Json& answer) {
            ConvertArguments one = arguments;
            one.in = task.in;
            one.out = task.out;
            run(given, one, [&](const Written& written) { answer = asJson(one, written); });
        },
        [&](const FileAnswer& one) {
            if (!one.error.empty()) printError(one.error);
            if (one.answer.is_null()) return;
            const Json& written = one.answer["written"];
            points += one.answer["points"].get<std::uint64_t>();
            bytes += written["bytes"].get<std::uint64_t>();
            if (!json && !options.quiet)
                printWritten(one.task.out, one.answer["points"], written["bytes"], written["seconds"]);
        });
    if (json) printJson(batchAsJson(answers, {{"files", answers.size()}, {"points", points}, {"bytes", bytes}}));
    if (!json && !options.quiet) fmt::print("{} in {} files, {} bytes\n", pointsText(points), answers.size(), bytes);
    requireAllWell(answers);
}

void addOptions(CLI::App& command, ConvertArguments& arguments) {
    CLI::Option* chunk =
        command
            .add_option("--chunk", arguments.chunkPoints,
                        "Points per chunk of a compressed OUT. Without it chunks stay as they are, or have 50000.")
            ->check(CLI::Range(1u, 100'000'000u));
    command
        .add_option("--point-format", arguments.pointFormat,
                    "0 to 10. All fields are carried over; a format that lacks one of them is refused. 6 to 10 make "
                    "the file version 1.4, where classes above 31 have room.")
        ->check(CLI::Range(0u, 10u));
    command
        .add_flag(
            "--copc", arguments.copc,
            "Write an octree (COPC), in which programs find the points of a place without reading the others. "
            "Point formats 6 to 8 with WKT; the points come in another order. A name that ends with .copc.laz says "
            "the same.")
        ->excludes(chunk);
    command.add_flag("--overwrite", arguments.overwrite, "Replace OUT if it exists");
}

} // namespace

void addConvert(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command = program.add_subcommand(
        "convert",
        "Write the same survey compressed or not, as the name of OUT says (.las, .laz, .copc.laz), or in another "
        "point format. All else stays as it is.");
    const auto arguments = std::make_shared<ConvertArguments>();
    const auto batch = std::make_shared<BatchArguments>();
    command
        ->add_option("FILES", batch->files,
                     "IN OUT: the survey, and the file to write. With --out-dir: surveys, folders and patterns")
        ->required();
    addOptions(*command, *arguments);
    addBatchOptions(*command, *batch, true);
    const auto json = addJsonFlag(*command);
    command->callback([command, &options, arguments, batch, json] {
        const bool one = batch->outDir.empty() && !namesSeveral(batch->files[0]) && batch->files.size() <= 2;
        one ? convertOne(options, *arguments, batch->files, *json)
            : convertMany(*command, options, *arguments, *batch, *json);
    });
    command->footer(R"(Examples:
  corvane convert tile.las tile.laz
  corvane convert old.laz new.laz --point-format 6
  corvane convert tiles --out-dir packed --suffix .laz --jobs 4)");
}

} // namespace corvane
