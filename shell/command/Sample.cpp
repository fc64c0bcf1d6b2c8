// SPDX-License-Identifier: Apache-2.0
// corvane sample: an invented survey, for trying things out.
#include "command/Commands.hpp"
#include "las/PointWriter.hpp"
#include "sample/SampleSurvey.hpp"

#include <fmt/format.h>

namespace corvane {
namespace {

struct SampleArguments {
    std::string out;
    SampleOptions sample;
};

void run(const GlobalOptions& options, const SampleArguments& arguments) {
    if (Packing::namesCompressed(arguments.out))
        throw UsageError(
            fmt::format("OUT: {} names a compressed file, and samples are not; name it .las, and pack it with "
                        "corvane convert.",
                        arguments.out));
    checkMayWriteSurvey(arguments.out, arguments.sample.overwrite);
    {
        Terminal terminal(options.quiet); // its bar is gone before anything is printed
        for (const std::string& warning : writeSampleSurvey(arguments.out, arguments.sample, terminal.watch()))
            terminal.warn(arguments.out + ": " + warning);
    }
    if (!options.quiet) fmt::print("wrote {} with {} points\n", arguments.out, arguments.sample.points);
}

} // namespace

void addSample(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command = program.add_subcommand(
        "sample",
        "Write an invented airborne survey: ground, river, trees, buildings, power lines, noise, and mistakes "
        "in the classes.");
    const auto arguments = std::make_shared<SampleArguments>();
    command->add_option("OUT", arguments->out, "The LAS file to write")->required();
    command->add_option("--points", arguments->sample.points, "How many points")
        ->check(CLI::Range(std::int64_t{0}, std::int64_t{1'000'000'000'000}))
        ->capture_default_str();
    command
        ->add_option("--seed", arguments->sample.seed,
                     "Another number makes another landscape; the same, the same file")
        ->capture_default_str();
    command->add_option("--las-version", arguments->sample.version, "1.0 to 1.5")->capture_default_str();
    command->add_option("--point-format", arguments->sample.pointFormat, "0 to 10, of those that the version has");
    command->add_flag("--overwrite", arguments->sample.overwrite, "Replace OUT if it exists");
    command->footer(R"(Examples:
  corvane sample survey.las
  corvane sample small.las --points 20000 --seed 7)");
    command->callback([&options, arguments] { run(options, *arguments); });
}

} // namespace corvane
