// SPDX-License-Identifier: Apache-2.0
// corvane open: the window.
#include "base/OutputFile.hpp"
#include "command/Commands.hpp"
#include "command/Signals.hpp"
#include "session/WindowLibrary.hpp"

#include <array>

namespace corvane {
namespace {

struct OpenArguments {
    std::string survey, screenshot, theme, size;
    int views = 0;
    bool overwrite = false;
};

void run(const GlobalOptions& options, const OpenArguments& arguments) {
    if (!arguments.screenshot.empty()) {
        if (arguments.survey.empty())
            throw UsageError("--screenshot: of which survey? Give FILE, too, as in corvane open FILE --screenshot "
                             "OUT.png.");
        checkMayWrite(arguments.screenshot, arguments.overwrite);
    }
    WindowOptions window;
    window.session = sessionOptions(options);
    window.file = arguments.survey;
    if (!arguments.size.empty()) window.size = parseSize("--size", arguments.size);
    window.views = arguments.views;
    window.theme = arguments.theme;
    window.screenshot = arguments.screenshot;
    window.overwrite = arguments.overwrite;
    window.shouldClose = [] { return caughtSignal() != 0; };
    if (openWindow(window) == 0) return;
    throw Interrupted("The window was closed by a signal; steps that are not yet in the file are kept.");
}

} // namespace

void addOpen(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command = program.add_subcommand("open", "Open a window to look at a survey and edit it by hand.");
    const auto arguments = std::make_shared<OpenArguments>();
    command->add_option("FILE", arguments->survey, "The survey; without one the window offers some");
    command->add_option("--views", arguments->views, "How many views: 1, 2 or 4")->check(CLI::IsMember({1, 2, 4}));
    command->add_option("--theme", arguments->theme, "auto, light or dark")
        ->check(CLI::IsMember({"auto", "light", "dark"}));
    command->add_option("--size", arguments->size, "Of the window, in pixels, such as 1600x1000");
    command->add_option("--screenshot", arguments->screenshot,
                        "Write the window as a PNG file when its picture is complete, and end; needs no display");
    command->add_flag("--overwrite", arguments->overwrite, "Replace the PNG file if it exists");
    command->footer(R"(Examples:
  corvane open survey.laz
  corvane open survey.laz --screenshot window.png --size 1600x1000)");
    command->callback([&options, arguments] { run(options, *arguments); });
}

} // namespace corvane
