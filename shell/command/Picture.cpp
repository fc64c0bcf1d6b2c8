// SPDX-License-Identifier: Apache-2.0
// corvane picture: the points of a survey, from above or in a profile, for a report.
#include "base/OutputFile.hpp"
#include "command/Commands.hpp"
#include "command/Output.hpp"
#include "command/SoundParts.hpp"
#include "plot/DrawingLibrary.hpp"
#include "plot/Numbers.hpp"
#include "plot/SurveyPicture.hpp"
#include "survey/LabelFile.hpp"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <set>

namespace corvane {
namespace {

struct Arguments {
    std::string survey, out, before, by = "class", labels, size;
    std::vector<double> profile;
    bool overwrite = false;
};

/// "1600x1000"
std::optional<std::array<int, 2>> sizeOf(const std::string& text) {
    if (text.empty()) return std::nullopt;
    constexpr int least = 600, most = 20000;
    std::array<int, 2> size{};
    const char* end = text.data() + text.size();
    const auto [x, wrong] = std::from_chars(text.data(), end, size[0]);
    const bool two = wrong == std::errc() && x != end && *x == 'x';
    const auto [rest, alsoWrong] = std::from_chars(two ? x + 1 : end, end, size[1]);
    if (!two || alsoWrong != std::errc() || rest != end || std::min(size[0], size[1]) < least ||
        std::max(size[0], size[1]) > most)
        throw UsageError(fmt::format("--size {}: is no size of a picture; give width and height in pixels, {} to {} "
                                     "each, such as 1600x1200.",
                                     text, least, most));
    return size;
}

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

Kesh::LabelSet labelsOf(const Survey& survey, const Arguments& arguments) {
    std::set<int> classes;
    if (Colouring(survey.las(), arguments.by).isClass())
        for (int value = 0; value <= std::numeric_limits<std::uint8_t>::max(); ++value) classes.insert(value);
    if (classes.empty() && arguments.labels.empty()) return {};
    return labelsFor(survey, arguments.labels, classes);
}

std::shared_ptr<const Survey> open(const GlobalOptions& options, const std::string& path, Reading reading) {
    SurveyOptions how;
    how.reading = reading;
    auto survey = std::make_shared<const Survey>(path, how);
    if (!options.quiet)
        for (const std::string& warning : survey->warnings()) printWarning(fmt::format("{}: {}", path, warning));
    return survey;
}

void run(const GlobalOptions& options, const Arguments& arguments, bool json, Reading reading) {
    PictureTask task;
    task.by = arguments.by;
    task.profile = sliceOf(arguments.profile);
    task.size = sizeOf(arguments.size);
    if (!options.memory.empty()) task.memory = parseMemory(options.memory) / 4;
    checkCanPlot(arguments.out);
    checkMayWrite(arguments.out, arguments.overwrite);
    const auto survey = open(options, arguments.survey, reading);
    const auto before = arguments.before.empty() ? nullptr : open(options, arguments.before, reading);
    task.labels = labelsOf(*survey, arguments);

    Terminal terminal(options.quiet);
    const DrawnPage drawn = before ? pictureOfChanges(*before, *survey, task, terminal.watch())
                                   : pictureOf(*survey, task, terminal.watch());
    if (survey->las().header.pointCount == 0)
        terminal.warn(arguments.survey + ": has no points.");
    else if (drawn.points == 0)
        throw Failure(fmt::format("{}: no point lies in what was to be drawn; nothing was written.", arguments.survey));
    for (const std::string& loss : savePage(drawn.page, arguments.out, arguments.overwrite))
        terminal.warn(fmt::format("{}: {}", arguments.out, loss));
    terminal.clearBar();
    if (json)
        printJson({{"file", arguments.survey}, {"picture", arguments.out}, {"points", drawn.points}});
    else
        fmt::print("wrote {} of {}\n", arguments.out, plural(drawn.points, "point"));
    for (const auto& one : {survey, before})
        if (one) requireWhole(one->las());
}

void addOptions(CLI::App& command, Arguments& a) {
    command.add_option("FILE", a.survey, "The survey")->required();
    command.add_option("OUT", a.out, "The picture, .png or .svg")->required();
    command
        .add_option(
            "--profile", a.profile,
            "X0,Y0,X1,Y1,WIDTH: a vertical slice along this line, half the width on either side, instead of the "
            "view from above")
        ->delimiter(',')
        ->expected(5)
        ->allow_extra_args(false);
    command.add_option("--by", a.by, "What the colours say: class, height, intensity, return, rgb or any field")
        ->capture_default_str();
    command.add_option("--before", a.before,
                       "The same points as they were: three pictures, before, after, and what changed");
    command.add_option("--labels", a.labels,
                       "Label set (JSON) with names and colours; otherwise the survey's own and the standard ones");
    command.add_option("--size", a.size, "WIDTHxHEIGHT of the picture in pixels; otherwise as the survey needs");
    command.add_flag("--overwrite", a.overwrite, "Replace the picture if it exists");
}

} // namespace

void addPicture(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command = program.add_subcommand(
        "picture", "Draw the points of a survey for a report: from above, the highest on top, or in a profile.");
    const auto arguments = std::make_shared<Arguments>();
    addOptions(*command, *arguments);
    const auto json = addJsonFlag(*command);
    command->callback([&options, arguments, json] {
        std::vector<std::string> surveys{arguments->survey};
        if (!arguments->before.empty()) surveys.push_back(arguments->before);
        readingWhatIsSound(surveys, [&](Reading reading) { run(options, *arguments, *json, reading); });
    });
}

} // namespace corvane
