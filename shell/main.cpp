// SPDX-License-Identifier: Apache-2.0
#include "base/Failure.hpp"
#include "Holdfast/Profiler.hpp"
#include "Kesh/objects/Vprintf.hpp"
#include "base/NearestName.hpp"
#include "VInitialization.hpp"
#include "command/Commands.hpp"

#include <fmt/format.h>

#include <cstdio>

namespace {

constexpr int Succeeded = 0, JobFailed = 1, WrongCall = 2;

void addGlobalOptions(CLI::App& program, corvane::GlobalOptions& options) {
    program.add_flag("--quiet,-q", options.quiet, "No progress, no warnings");
    program.add_option("--verbose", options.verbosity, "Print diagnostics up to this verbosity (100 without a number)")
        ->expected(0, 1)
        ->default_str("100");
    program.add_option("--plugin", options.pluginPath,
                       "The plug-in to load, instead of the one that belongs to the program");
    program.add_option("--memory", options.memory, "Memory for point data, e.g. 256M; more is read again when needed");
}

/// Diagnostics go to standard error: standard output belongs to results.
void printDiagnostics(const std::string& text) { std::fputs(text.c_str(), stderr); }

int complain(int status, const std::string& sentence) {
    fmt::print(stderr, "corvane: {}\n", sentence);
    return status;
}

/// Where the host's messages go: what modules say on their status lines is shown from verbosity 1 on, the rest at 100.
void setSinks(int verbosity) {
    Kesh::setVerbosity(verbosity);
    Kesh::setVprintfSink(printDiagnostics);
    Kesh::StatusIndicator::setSink([](const std::string& object, const Kesh::Status& status) {
        Kesh::Vprintf(1, "%s: %s\n", object.c_str(), status.text.c_str());
    });
    if (verbosity >= 100)
        Holdfast::Profiler::setSink([](const char* section, std::chrono::nanoseconds taken) {
            Kesh::Vprintf(100, "%s: %.3f ms\n", section, double(taken.count()) * 1e-6);
        });
    VInitialization::setObserver([](int reason, const std::string& plugin, const std::string& version) {
        Kesh::Vprintf(100, "VInitialization::initPlugin(%d,%s,%s)\n", reason, plugin.c_str(), version.c_str());
    });
}

/// An argument that nothing takes is most often a command or an option spelled wrong.
int complainOfExtras(const CLI::App& program) {
    const auto called = program.get_subcommands();
    const CLI::App& command = called.empty() ? program : *called.front();
    std::vector<std::string> known;
    for (const CLI::Option* option : command.get_options())
        if (!option->get_positional()) known.push_back("--" + option->get_lnames().front());
    if (called.empty())
        for (const CLI::App* subcommand : program.get_subcommands({})) known.push_back(subcommand->get_name());
    const std::string extra = program.remaining(true).front();
    return complain(WrongCall, fmt::format("\"{}\" was not expected. {}", extra, corvane::suggestNames(extra, known)));
}

int run(int argc, char** argv) {
    corvane::GlobalOptions options;
    CLI::App program("Corrects the classification of LIDAR point clouds.", "corvane");
    program.require_subcommand(0, 1);
    program.fallthrough();
    program.set_version_flag("--version", CORVANE_VERSION);
    addGlobalOptions(program, options);
    program.parse_complete_callback([&options] { setSinks(options.verbosity); });
    corvane::addCatalogue(program, options);
    corvane::addCompare(program, options);
    corvane::addHistogram(program, options);
    corvane::addInfo(program, options);
    corvane::addLabels(program, options);
    corvane::addLint(program, options);
    corvane::addSample(program, options);
    corvane::addReclassify(program, options);
    corvane::addRelabel(program, options);
    corvane::addRun(program, options);
    corvane::addShape(program, options);
    try {
        program.parse(argc, argv);
        if (!program.get_subcommands().empty()) return Succeeded;
        fmt::print(stderr, "{}", program.help());
        return WrongCall;
    } catch (const CLI::ExtrasError&) {
        return complainOfExtras(program);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return program.exit(error); // help and version
        return complain(WrongCall, fmt::format("{}. See --help.", error.what()));
    }
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const corvane::UsageError& error) {
        return complain(WrongCall, error.what());
    } catch (const std::bad_alloc&) {
        return complain(JobFailed,
                        "There is not enough memory; give --memory a smaller size, or close other programs.");
    } catch (const std::exception& error) {
        return complain(JobFailed, error.what());
    }
}
