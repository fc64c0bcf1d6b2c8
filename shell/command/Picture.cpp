// SPDX-License-Identifier: Apache-2.0
// corvane picture: the points of a survey, from above or in a profile, for a report.
#include "base/OutputFile.hpp"
#include "base/Text.hpp"
#include "command/Batch.hpp"
#include "command/Commands.hpp"
#include "command/FilePairs.hpp"
#include "command/LimitOptions.hpp"
#include "command/Output.hpp"
#include "command/SoundParts.hpp"
#include "plot/DrawingLibrary.hpp"
#include "plot/Numbers.hpp"
#include "plot/SurveyPicture.hpp"
#include "survey/LabelFile.hpp"

#include <fmt/format.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <limits>
#include <map>
#include <set>

namespace corvane {
namespace {

struct PictureArguments {
    std::string survey, out, before, by = "class", labels, size;
    std::vector<double> profile;
    LimitArguments limits;
    bool overwrite = false;
};

std::optional<Slice> sliceOf(const std::vector<double>& numbers) {
    if (numbers.empty()) return std::nullopt;
    const Slice slice{{numbers[0], numbers[1]}, {numbers[2], numbers[3]}, numbers[4]};
    bool finite = true;
    for (const double number : numbers) finite = finite && std::isfinite(number);
    if (!finite || slice.from == slice.to || !(slice.width > 0))
        throw UsageError(
            "--profile: a profile runs between two different places, X0,Y0 and X1,Y1, and its width is more "
            "than 0.");
    return slice;
}

Kesh::LabelSet labelsOf(const Survey& survey, const PictureArguments& arguments) {
    std::set<int> classes;
    if (Colouring(survey.las(), arguments.by).isClass())
        for (int value = 0; value <= std::numeric_limits<std::uint8_t>::max(); ++value) classes.insert(value);
    if (classes.empty() && arguments.labels.empty()) return {};
    return labelsFor(survey, arguments.labels, classes);
}

/// Why there is nothing to draw.
std::string missOf(const PictureTask& task, const CallLimits& limits, const Survey& survey, Terminal& terminal) {
    const std::string miss = task.limit ? limits.missOn(survey, std::nullopt, terminal.watch()) : "";
    return miss.empty() ? "no point lies in what was to be drawn; nothing was written." : miss;
}

/// How many points a picture is of, or why there is none.
struct Drawn {
    std::uint64_t points = 0;
    std::string miss;
};

/// Draws one picture; `say` gets what came of it before it is told that the survey is damaged.
using DrawnTaker = std::function<void(const Drawn& drawn)>;
void draw(const GlobalOptions& options, const PictureArguments& arguments, Reading reading, const DrawnTaker& say) {
    PictureTask task;
    task.by = arguments.by;
    task.profile = sliceOf(arguments.profile);
    task.size = arguments.size.empty() ? std::nullopt : std::optional(parseSize("--size", arguments.size));
    if (!options.memory.empty()) task.memory = parseMemory(options.memory) / 4;
    checkCanPlot(arguments.out);
    checkMayWrite(arguments.out, arguments.overwrite);
    CallLimits limits(arguments.limits);
    const auto survey = openSurvey(options, arguments.survey, reading);
    const auto before = arguments.before.empty() ? nullptr : openSurvey(options, arguments.before, reading);
    task.labels = labelsOf(*survey, arguments);

    Terminal terminal(options.quiet);
    task.limit = limits.on(before ? *before : *survey, [&](const std::string& sentence) { terminal.note(sentence); });
    task.region = limitText(arguments.limits);
    const DrawnPage page = before ? pictureOfChanges(*before, *survey, task, terminal.watch())
                                  : pictureOf(*survey, task, terminal.watch());
    Drawn drawn{page.points, ""};
    if (survey->las().header.pointCount == 0)
        terminal.warn(arguments.survey + ": has no points.");
    else if (page.points == 0 && !arguments.limits.allowMiss)
        drawn.miss = missOf(task, limits, before ? *before : *survey, terminal);
    if (drawn.miss.empty())
        for (const std::string& loss : savePage(page.page, arguments.out, arguments.overwrite))
            terminal.warn(fmt::format("{}: {}", arguments.out, loss));
    terminal.clearBar();
    say(drawn);
    for (const auto& one : {survey, before})
        if (one) requireWhole(one->las());
}

std::vector<std::string> surveysOf(const PictureArguments& arguments) {
    std::vector<std::string> surveys{arguments.survey};
    if (!arguments.before.empty()) surveys.push_back(arguments.before);
    return surveys;
}

Json answerOf(const PictureArguments& arguments, const Drawn& drawn) {
    Json answer{{"file", arguments.survey}, {"picture", arguments.out}, {"points", drawn.points}};
    if (!drawn.miss.empty()) {
        answer["picture"] = nullptr;
        answer["miss"] = drawn.miss;
    }
    return answer;
}

void drawOne(const GlobalOptions& options, const PictureArguments& arguments, bool json) {
    readingWhatIsSound(surveysOf(arguments), [&](Reading reading) {
        draw(options, arguments, reading, [&](const Drawn& drawn) {
            if (!drawn.miss.empty()) throw Failure(fmt::format("{}: {}", arguments.survey, drawn.miss));
            if (json) return printJson(answerOf(arguments, drawn));
            fmt::print("wrote {} of {}\n", escaped(arguments.out), plural(drawn.points, "point"));
        });
    });
}

/// Pictures are named after their surveys, with what the suffix says before the ending: "_map.svg".
std::vector<FileTask> pictureTasks(BatchArguments batch) {
    const std::string suffix = batch.suffix.empty() ? ".png" : batch.suffix;
    checkCanPlot("x" + suffix);
    batch.suffix.clear();
    std::vector<FileTask> tasks = tasksFor(surveysNamed(batch.files), batch);
    surveysByTile(surveysNamed(batch.files)); // whose names tell the pictures apart
    for (FileTask& task : tasks)
        task.out = (std::filesystem::path(batch.outDir) / (tileName(task.in) + suffix)).string();
    return tasks;
}

void drawMany(const CLI::App& command, const GlobalOptions& options, PictureArguments& arguments,
              const BatchArguments& batch, bool json) {
    if (batch.outDir.empty())
        throw UsageError("picture: takes a survey and the picture to write; for many surveys give --out-dir.");
    readPolygonsOnce(arguments.limits);
    std::map<std::string, std::string> before;
    if (!arguments.before.empty()) before = surveysByTile(surveysNamed({arguments.before}));
    const auto job = [&](const FileTask& task, const GlobalOptions& given, Json& answer) {
        PictureArguments one = arguments;
        one.survey = task.in;
        one.out = task.out;
        if (!arguments.before.empty()) {
            const auto earlier = before.find(tileName(task.in));
            if (earlier == before.end())
                throw Failure(fmt::format("{}: there is no survey of this name in {}.", task.in, arguments.before));
            one.before = earlier->second;
        }
        readingWhatIsSound(surveysOf(one), [&](Reading reading) {
            draw(given, one, reading, [&](const Drawn& drawn) { answer = answerOf(one, drawn); });
        });
    };
    std::uint64_t points = 0;
    const auto answers = forEachFile(command, options, batch, pictureTasks(batch), job, [&](const FileAnswer& one) {
        if (!one.error.empty()) printError(one.error);
        if (one.answer.is_null()) return;
        points += one.answer["points"].get<std::uint64_t>();
        if (json) return;
        if (one.answer.contains("miss"))
            fmt::print("{}: nothing to draw\n", escaped(one.task.in));
        else
            fmt::print("wrote {}\n", escaped(one.task.out));
    });
    requireAnyMeant(answers);
    if (json) printJson(batchAsJson(answers, {{"files", answers.size()}, {"points", points}}));
    requireAllWell(answers);
}

void addOptions(CLI::App& command, PictureArguments& a) {
    command
        .add_option(
            "--profile", a.profile,
            "X0,Y0,X1,Y1,WIDTH: a vertical slice along this line, half the width on either side, instead of the "
            "view from above")
        ->delimiter(',')
        ->expected(5)
        ->allow_extra_args(false);
    addLimitOptions(command, a.limits);
    command.add_option("--by", a.by, "What the colours say: class, height, intensity, return, rgb or any field")
        ->capture_default_str();
    command.add_option("--before", a.before,
                       "The same points as they were: three pictures, before, after, and what changed. Of many surveys "
                       "a folder or pattern of those of the same names");
    command.add_option("--labels", a.labels,
                       "Label set (JSON) with names and colours; otherwise the survey's own and the standard ones");
    command.add_option("--size", a.size, "WIDTHxHEIGHT of the picture in pixels; otherwise as the survey needs");
    command.add_flag("--overwrite", a.overwrite, "Replace the picture if it exists");
}

} // namespace

void addPicture(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command = program.add_subcommand(
        "picture", "Draw the points of a survey for a report: from above, the highest on top, or in a profile.");
    const auto arguments = std::make_shared<PictureArguments>();
    const auto batch = std::make_shared<BatchArguments>();
    command
        ->add_option(
            "FILES", batch->files,
            "FILE OUT: the survey, and the picture to write, .png or .svg. With --out-dir: surveys, folders and "
            "patterns")
        ->required();
    addOptions(*command, *arguments);
    addBatchOptions(*command, *batch, true);
    const auto json = addJsonFlag(*command);
    command->footer(R"(Examples:
  corvane picture tile.laz tile.png
  corvane picture tile.laz profile.svg --profile 500100,5200100,500300,5200200,4
  corvane picture edited.laz changes.png --before tile.laz --within parcel.geojson
  corvane picture tiles/ --out-dir maps --suffix _height.png --by height --jobs 4)");
    command->callback([command, &options, arguments, batch, json] {
        batch->overwrite = arguments->overwrite;
        if (batch->files.size() != 2 || !batch->outDir.empty())
            return drawMany(*command, options, *arguments, *batch, *json);
        readPolygonsOnce(arguments->limits);
        arguments->survey = batch->files[0];
        arguments->out = batch->files[1];
        drawOne(options, *arguments, *json);
    });
}

} // namespace corvane
