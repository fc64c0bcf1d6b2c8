// SPDX-License-Identifier: Apache-2.0
#include "command/Batch.hpp"

#include "base/OutputFile.hpp"
#include "base/Text.hpp"
#include "base/Watch.hpp"
#include "command/BatchRecord.hpp"
#include "command/FileProcess.hpp"
#include "command/Signals.hpp"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <fmt/format.h>
#include <glob.h>
#include <list>
#include <map>
#include <memory>
#include <poll.h>
#include <set>

namespace corvane {
namespace fs = std::filesystem;
namespace {

constexpr int JobFailed = 1, AnswerNotClean = 3;
constexpr int PollMilliseconds = 200;

bool isSurvey(const fs::path& path) {
    std::string ending = path.extension().string();
    std::ranges::transform(ending, ending.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ending == ".las" || ending == ".laz";
}

bool isPattern(const std::string& argument) { return argument.find_first_of("*?[") != std::string::npos; }

std::vector<std::string> surveysIn(const std::string& folder) {
    std::vector<std::string> found;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error))
        if (isSurvey(entry->path()) && !fs::is_directory(entry->path())) found.push_back(entry->path().string());
    if (error) throw Failure(fmt::format("{}: cannot be listed: {}.", folder, error.message()));
    std::ranges::sort(found);
    return found;
}

std::vector<std::string> surveysLike(const std::string& pattern) {
    glob_t matches{};
    const int failed = glob(pattern.c_str(), 0, nullptr, &matches);
    std::vector<std::string> found;
    if (failed == 0) found.assign(matches.gl_pathv, matches.gl_pathv + matches.gl_pathc);
    globfree(&matches);
    return found;
}

/// The name of the result. A suffix that ends in .las or .laz takes the place of the ending, another goes before it.
std::string outputName(const fs::path& in, const std::string& suffix) {
    std::string stem = in.stem().string(), ending = in.extension().string();
    if (constexpr std::string_view octree = ".copc"; stem.size() > octree.size() && stem.ends_with(octree)) {
        stem.resize(stem.size() - octree.size());
        ending.insert(0, octree);
    }
    return stem + suffix + (isSurvey("x" + suffix) ? "" : ending);
}

/// One run over the tasks: starts processes, listens to them, and hands out answers in order.
class Run {
public:
    Run(const GlobalOptions& options, const BatchArguments& arguments, const std::vector<FileTask>& tasks,
        const FileJob& job, const AnswerTaker& done)
        : jobOptions_(optionsFor(options, arguments)),
          jobs_(std::max<std::size_t>(std::min<std::size_t>(arguments.jobs, tasks.size()), 1)),
          tasks_(tasks),
          job_(job),
          done_(done),
          terminal_(options.quiet),
          watch_(terminal_.watch()) {
        std::error_code error;
        for (const FileTask& task : tasks) {
            const auto size = fs::file_size(task.in, error);
            sizes_.push_back(error ? 0 : size);
            total_ += sizes_.back();
        }
    }

    std::vector<FileAnswer> run(BatchRecord* record, bool resume) {
        answers_.resize(tasks_.size());
        ready_.resize(tasks_.size());
        std::size_t next = 0;
        while (next < tasks_.size() || !working_.empty()) {
            for (; next < tasks_.size() && working_.size() < jobs_; ++next)
                if (const Json known = record && resume ? record->answerFor(tasks_[next]) : Json(); !known.is_null())
                    finish(next, {tasks_[next], known, "", 0});
                else
                    start(next);
            listen(record);
            if (caughtSignal() != 0) stop();
        }
        return std::move(answers_);
    }

private:
    struct Working {
        std::size_t number;
        std::unique_ptr<FileProcess> process;
    };

    static GlobalOptions optionsFor(GlobalOptions options, const BatchArguments& arguments) {
        if (!options.memory.empty() && arguments.jobs > 1)
            options.memory =
                fmt::format("{}K", std::max<std::size_t>(parseMemory(options.memory) / arguments.jobs >> 10, 1));
        return options;
    }

    void start(std::size_t number) {
        const FileTask& task = tasks_[number];
        try {
            working_.push_back({number, std::make_unique<FileProcess>(
                                            task, [&](Json& answer) { job_(task, jobOptions_, answer); }, jobs_ == 1)});
        } catch (const Failure& failure) {
            finish(number, {task, nullptr, failure.what(), JobFailed});
        }
    }

    void listen(BatchRecord* record) {
        std::vector<pollfd> polled;
        for (const Working& one : working_) polled.push_back({one.process->descriptor(), POLLIN, 0});
        if (polled.empty() || poll(polled.data(), polled.size(), PollMilliseconds) <= 0) return;
        auto place = polled.begin();
        for (auto one = working_.begin(); one != working_.end(); ++place) {
            const bool more = place->revents == 0 || one->process->read([&](const Json& m) { take(one->number, m); });
            if (more) {
                ++one;
                continue;
            }
            FileAnswer answer = one->process->finish();
            const std::size_t number = one->number;
            one = working_.erase(one);
            if (record && answer.status == 0 && fs::exists(answer.task.out)) record->add(answer.task, answer.answer);
            finish(number, std::move(answer));
        }
    }

    /// Warnings begin with the name of their file, or get it.
    void take(std::size_t number, const Json& message) {
        const auto named = [&](const std::string& sentence) {
            const std::string& in = tasks_[number].in;
            const std::string& out = tasks_[number].out;
            const bool has = sentence.starts_with(in) || (!out.empty() && sentence.starts_with(out));
            return has ? sentence : in + ": " + sentence;
        };
        if (message.contains("warning")) terminal_.warn(named(message["warning"]));
        if (message.contains("note")) terminal_.note(named(message["note"]));
        show();
    }

    void show() {
        try {
            watch_(finishedBytes_, std::max<std::uint64_t>(total_, 1),
                   fmt::format("{} of {} files", finished_, tasks_.size()));
        } catch (const Interrupted&) { // the loop looks for signals itself
        }
    }

    void finish(std::size_t number, FileAnswer answer) {
        answers_[number] = std::move(answer);
        ready_[number] = true;
        ++finished_;
        finishedBytes_ += sizes_[number];
        terminal_.clearBar();
        for (; told_ < ready_.size() && ready_[told_]; ++told_) done_(answers_[told_]);
        std::fflush(stdout);
        show();
    }

    [[noreturn]] void stop() {
        for (const Working& one : working_) one.process->interrupt();
        working_.clear(); // which waits for them
        throw Interrupted(
            fmt::format("{} of {} files were done when the work was interrupted.", finished_, tasks_.size()));
    }

    const GlobalOptions jobOptions_;
    const std::size_t jobs_;
    const std::vector<FileTask>& tasks_;
    const FileJob& job_;
    const AnswerTaker& done_;
    Terminal terminal_;
    Watch watch_;
    std::vector<std::uint64_t> sizes_; // of the files, in bytes
    std::uint64_t total_ = 0, finishedBytes_ = 0;
    std::size_t finished_ = 0, told_ = 0;
    std::list<Working> working_;
    std::vector<FileAnswer> answers_;
    std::vector<char> ready_;
};

} // namespace

void addBatchOptions(CLI::App& command, BatchArguments& arguments, bool writes) {
    const std::string group = "Many files";
    command
        .add_option("--jobs", arguments.jobs,
                    "Work on so many files at a time, each in a process of its own; --memory is shared among them")
        ->check(CLI::Range(1u, 1024u))
        ->capture_default_str()
        ->group(group);
    if (!writes) return;
    command.add_option("--out-dir", arguments.outDir, "Write the results into this folder, which is made if need be")
        ->group(group);
    command
        .add_option("--suffix", arguments.suffix,
                    "Of the names there, before the ending: \"_fixed\"; or with another ending: \"_fixed.laz\"")
        ->group(group);
    command
        .add_flag("--resume", arguments.resume,
                  "Leave out files that an earlier call with these options has done, by the record in the folder")
        ->group(group);
}

bool namesSeveral(const std::string& argument) {
    std::error_code error;
    return fs::is_directory(argument, error) || (isPattern(argument) && !fs::exists(argument, error));
}

std::vector<std::string> surveysNamed(const std::vector<std::string>& arguments) {
    std::vector<std::string> all;
    for (const std::string& argument : arguments) {
        std::vector<std::string> found{argument};
        if (namesSeveral(argument)) found = fs::is_directory(argument) ? surveysIn(argument) : surveysLike(argument);
        if (found.empty()) throw UsageError(fmt::format("{}: no file ending in .las or .laz is there.", argument));
        all.insert(all.end(), found.begin(), found.end());
    }
    return all;
}

std::vector<FileTask> tasksFor(const std::vector<std::string>& files, const BatchArguments& arguments) {
    std::vector<FileTask> tasks;
    std::map<std::string, std::string> writtenBy, readAs; // by place
    const auto place = [](const std::string& path) {
        std::error_code error;
        const fs::path canonical = fs::weakly_canonical(path, error);
        return error ? path : canonical.string();
    };
    for (const std::string& file : files)
        if (!readAs.emplace(place(file), file).second) throw UsageError(fmt::format("{}: is named twice.", file));
    for (const std::string& file : files) {
        FileTask task{file, ""};
        if (!arguments.outDir.empty()) {
            task.out = (fs::path(arguments.outDir) / outputName(file, arguments.suffix)).string();
            const auto [other, first] = writtenBy.emplace(place(task.out), file);
            if (!first)
                throw UsageError(fmt::format("{} and {} would both be written to {}; give them other names.",
                                             other->second, file, task.out));
            if (const auto input = readAs.find(place(task.out)); input != readAs.end())
                throw UsageError(fmt::format("{}: would be written over {}, which is read; give another --out-dir or a "
                                             "--suffix.",
                                             task.out, input->second));
        }
        tasks.push_back(std::move(task));
    }
    return tasks;
}

std::vector<FileAnswer> forEachFile(const CLI::App& command, const GlobalOptions& options,
                                    const BatchArguments& arguments, const std::vector<FileTask>& tasks,
                                    const FileJob& job, const AnswerTaker& done) {
    std::unique_ptr<BatchRecord> record;
    if (!arguments.outDir.empty()) {
        std::error_code error;
        fs::create_directories(arguments.outDir, error);
        if (error) throw Failure(fmt::format("{}: the folder cannot be made: {}.", arguments.outDir, error.message()));
        record = std::make_unique<BatchRecord>(arguments.outDir, command);
    }
    if (arguments.resume && !record) throw UsageError("--resume: goes with --out-dir, where the record is.");
    for (const FileTask& task : tasks)
        if (!task.out.empty())
            checkMayWrite(task.out, arguments.overwrite || (arguments.resume && record->wrote(task)));
    return Run(options, arguments, tasks, job, done).run(record.get(), arguments.resume);
}

Json batchAsJson(const std::vector<FileAnswer>& answers, Json total) {
    Json files = Json::array(), failed = Json::array();
    for (const FileAnswer& one : answers) {
        if (!one.answer.is_null()) files.push_back(one.answer);
        if (!one.error.empty()) failed.push_back({{"file", one.task.in}, {"error", one.error}, {"status", one.status}});
    }
    return {{"files", files}, {"total", std::move(total)}, {"failed", failed}};
}

void requireAnyMeant(const std::vector<FileAnswer>& answers) {
    const auto missed = [](const FileAnswer& one) { return one.answer.is_object() && one.answer.contains("miss"); };
    if (!answers.empty() && std::ranges::all_of(answers, missed))
        throw Failure(fmt::format("In none of the {} files a point is meant, so nothing was written. Of the first: {}",
                                  answers.size(), answers.front().answer["miss"].get<std::string>()));
}

void requireAllWell(const std::vector<FileAnswer>& answers) {
    std::vector<std::string> failed, unclean;
    for (const FileAnswer& one : answers)
        if (one.status != 0) (one.status == AnswerNotClean ? unclean : failed).push_back(one.task.in);
    if (!failed.empty())
        throw Failure(
            fmt::format("{} of {} files failed: {}.", failed.size(), answers.size(), fmt::join(failed, ", ")));
    if (!unclean.empty())
        throw NotClean(
            fmt::format("{} of {} files are not clean: {}.", unclean.size(), answers.size(), fmt::join(unclean, ", ")));
}

} // namespace corvane
