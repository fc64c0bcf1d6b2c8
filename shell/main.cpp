// SPDX-License-Identifier: Apache-2.0
#include "Holdfast/Profiler.hpp"
#include "Kesh/objects/StatusIndicator.hpp"
#include "Kesh/objects/Vprintf.hpp"
#include "VInitialization.hpp"
#include "base/Failure.hpp"
#include "base/NearestName.hpp"
#include "base/Text.hpp"
#include "command/Commands.hpp"
#include "command/Help.hpp"
#include "command/HelpFormat.hpp"
#include "command/Output.hpp"
#include "command/Signals.hpp"
#include "command/StrictOptions.hpp"

#include <fmt/format.h>

#include <cstdio>
#include <cstdlib>
#include <malloc.h>
#include <memory>
#include <mutex>
#include <new>

namespace {

constexpr int Succeeded = 0, JobFailed = 1, WrongCall = 2, AnswerNotClean = 3;

constexpr char Footer[] = R"(Exit status:
  0  all went well
  1  the job failed
  2  the call is wrong
  3  the answer is not clean or not whole: findings, differences that are
     not permitted, counts that are incomplete or out of date
Interrupted, the program cleans up and ends by the signal.)";

void addGlobalOptions(CLI::App& program, corvane::GlobalOptions& options) {
    program.add_flag("--quiet,-q", options.quiet, "No progress, no warnings");
    program.add_option("--verbose", options.verbosity, "Print diagnostics up to this verbosity (100 without a number)")
        ->expected(0, 1)
        ->default_str("100");
    program.add_option("--plugin", options.pluginPath,
                       "The plug-in to load, instead of the one that belongs to the program");
    program.add_option(
        "--memory", options.memory,
        "Memory for points that were read and can be read again, e.g. 256M. Edited points, masks and what undo "
        "needs lie outside it; counters that a count of the whole survey keeps take 2 KiB a fragment of "
        "131,072 points, 512 KiB for fields of 16 bits");
    program.add_flag("--original", options.edits.original,
                     "Show surveys as their files are, without the edits that are kept of them");
    program.add_option("--store", options.edits.path, "Where the edits of the survey are kept, instead of FILE.edits");
    program.add_flag("--rebind", options.edits.rebind,
                     "Take a store for that of a survey whose head has changed, if its points are still the same");
}

/// Diagnostics go to standard error: standard output belongs to results.
void printDiagnostics(const std::string& text) { std::fputs(text.c_str(), stderr); }

int complain(int status, const std::string& sentence) {
    corvane::printError(sentence);
    return status;
}

/// Where the host's messages go: what modules say on their status lines is shown from verbosity 1 on, the rest at 100.
void setSinks(int verbosity) {
    Kesh::setVerbosity(verbosity);
    Kesh::setVprintfSink(printDiagnostics);
    Kesh::StatusIndicator::setSink([](const std::string& object, const Kesh::Status& status) {
        const char* grade = status.grade == Kesh::StatusGrade::Error     ? "error: "
                            : status.grade == Kesh::StatusGrade::Warning ? "warning: "
                                                                         : "";
        Kesh::Vprintf(1, "%s: %s%s\n", object.c_str(), grade, status.text.c_str());
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
    const CLI::App* innermost = &program;
    while (!innermost->get_subcommands().empty()) innermost = innermost->get_subcommands().front();
    const CLI::App& command = *innermost;
    std::vector<std::string> known;
    for (const CLI::Option* option : command.get_options())
        if (!option->get_positional()) known.push_back("--" + option->get_lnames().front());
    for (const CLI::App* subcommand : command.get_subcommands({})) known.push_back(subcommand->get_name());
    const std::string extra = program.remaining(true).front();
    return complain(WrongCall, fmt::format("\"{}\" was not expected. {}", extra, corvane::suggestNames(extra, known)));
}

int run(int argc, char** argv) {
    corvane::GlobalOptions options;
    CLI::App program("Corrects the classification of LIDAR point clouds.", "corvane");
    program.formatter(std::make_shared<corvane::HelpFormat>());
    program.require_subcommand(0, 1);
    program.fallthrough();
    program.set_version_flag("-V,--version", CORVANE_VERSION, "Print the version and exit");
    addGlobalOptions(program, options);
    program.parse_complete_callback([&options] { setSinks(options.verbosity); });
    corvane::addApply(program, options);
    corvane::addCatalogue(program, options);
    corvane::addCompare(program, options);
    corvane::addConvert(program, options);
    corvane::addDiscard(program, options);
    corvane::addEdit(program, options);
    corvane::addHistogram(program, options);
    corvane::addHistory(program, options);
    corvane::addInfo(program, options);
    corvane::addLabels(program, options);
    corvane::addLint(program, options);
    corvane::addMask(program, options);
    corvane::addOpen(program, options);
    corvane::addPatch(program, options);
    corvane::addPicture(program, options);
    corvane::addPoints(program, options);
    corvane::addSample(program, options);
    corvane::addSave(program, options);
    corvane::addReclassify(program, options);
    corvane::addRedo(program, options);
    corvane::addRelabel(program, options);
    corvane::addRestore(program, options);
    corvane::addRun(program, options);
    corvane::addShape(program, options);
    corvane::addUndo(program, options);
    corvane::addHelp(program, CORVANE_VERSION);
    program.footer(Footer); // commands would take it over in place of their own
    corvane::readNumbersAsDecimals(program);
    corvane::refuseEmptyArguments(argc, argv);
    try {
        const std::vector<std::string> arguments = corvane::withClassListsApart(argc, argv);
        std::vector<const char*> words;
        for (const std::string& word : arguments) words.push_back(word.c_str());
        program.parse(static_cast<int>(words.size()), words.data());
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

/// What was printed must have arrived.
void closeOutput() {
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        throw corvane::Failure("Standard output cannot be written; the answer is lost. Check where it goes.");
}

int runToTheEnd(int argc, char** argv) {
    try {
        const int status = run(argc, argv);
        closeOutput();
        return status;
    } catch (const corvane::UsageError& error) {
        return complain(WrongCall, error.what());
    } catch (const corvane::NotClean& answer) {
        closeOutput(); // the answer stands before the sentence wherever both go
        return complain(AnswerNotClean, answer.what());
    } catch (const std::bad_alloc&) {
        return complain(JobFailed,
                        "There is not enough memory; give --memory a smaller size, or close other programs.");
    } catch (const std::exception& error) {
        return complain(JobFailed, error.what());
    }
}

/// Memory that is given back when there is no more. What is on its way out then needs some: documents of JSON allocate
/// when they are destroyed, where nothing may be thrown.
class MemoryReserve {
public:
    MemoryReserve() { std::set_new_handler(giveBack); }
    ~MemoryReserve() { std::set_new_handler(nullptr); }
    MemoryReserve(const MemoryReserve&) = delete;
    MemoryReserve& operator=(const MemoryReserve&) = delete;

private:
    static void giveBack() {
        std::set_new_handler(nullptr);
        static std::once_flag given;
        std::call_once(given, [] { bytes_.reset(); });
        throw std::bad_alloc();
    }

    static constexpr std::size_t Size = std::size_t{16} << 20; // addresses only, as long as nobody writes there
    static inline auto bytes_ = std::make_unique_for_overwrite<std::byte[]>(Size);
};

/// What is freed stays for the next fragment: the first touch of fresh memory costs more than what is done with it.
void keepFreedMemory() {
    constexpr int most = 64 << 20; // bytes
    mallopt(M_MMAP_THRESHOLD, most / 2);
    mallopt(M_TRIM_THRESHOLD, most);
}

/// OpenMP, which the plug-in brings, reads it when it is loaded: its threads wait for work without taking the processor
/// from those that read ahead. Here, since no other thread may be there that reads the environment. Who has set this
/// keeps it.
void letThreadsWaitPassively() { setenv("OMP_WAIT_POLICY", "passive", 0); }

} // namespace

int main(int argc, char** argv) {
    letThreadsWaitPassively();
    keepFreedMemory();
    const MemoryReserve reserve;
    corvane::listenForSignals();
    int status = JobFailed;
    try {
        status = runToTheEnd(argc, argv);
    } catch (const std::exception& error) { // of closing the output
        status = complain(JobFailed, error.what());
    }
    if (const int signal = corvane::caughtSignal(); signal != 0 && status != Succeeded) corvane::dieOf(signal);
    return status;
}
