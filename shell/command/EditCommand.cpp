// SPDX-License-Identifier: Apache-2.0
#include "command/EditCommand.hpp"

#include "base/Text.hpp"

#include <fmt/format.h>

#include <algorithm>

namespace corvane {
namespace {

struct Call {
    const CLI::App& command;
    const GlobalOptions& options;
    EditArguments& arguments;
    EditJob job;
    BatchArguments batch;
    bool json = false;
};

/// IN and OUT, or for a dry run IN alone; what is kept has no OUT.
void editOne(Call& call, const std::string& in, const std::string& out) {
    call.arguments.in = in;
    call.arguments.out = out;
    const auto result = call.job(call.options);
    if (!result) return;
    if (!result->miss.empty()) throw Failure(fmt::format("{}: {} Nothing was written.", result->file, result->miss));
    call.json ? printJson(asJson(*result)) : print(*result);
}

/// Sums over files.
struct Total {
    std::uint64_t files = 0, points = 0, changed = 0, changedFiles = 0;
    ClassCounts before, after;

    void add(const Json& answer) {
        ++files;
        points += answer["points"].get<std::uint64_t>();
        changed += answer["changed"].get<std::uint64_t>();
        changedFiles += answer["changed"] != 0;
        for (const auto& [counts, name] : {std::pair(&before, "before"), std::pair(&after, "after")})
            for (const auto& [value, count] : answer[name].items())
                (*counts)[std::stoi(value)] += count.get<std::uint64_t>();
    }
    Json asJson() const {
        return {{"files", files},
                {"points", points},
                {"changed", changed},
                {"changedFiles", changedFiles},
                {"before", countsAsJson(before)},
                {"after", countsAsJson(after)}};
    }
};

void printAnswer(const FileAnswer& answer) {
    const std::string in = escaped(answer.task.in);
    if (!answer.error.empty()) return printError(answer.error);
    const std::uint64_t changed = answer.answer["changed"];
    if (answer.answer.contains("miss") && !answer.answer.contains("written"))
        return fmt::print("{}: no point is meant\n", in);
    if (!answer.answer.contains("written"))
        return fmt::print("{}: {} {}\n", in, pointsText(changed), changed == 0 ? "to change" : "would change");
    fmt::print("{}: {} changed, wrote {}\n", in, pointsText(changed), escaped(answer.task.out));
}

/// Files in which no point is meant wait until one is found in which some are; if there is none nothing is written.
std::vector<FileAnswer> editAll(Call& call, const std::vector<FileTask>& tasks, const AnswerTaker& take) {
    const FileJob job = [&](const FileTask& task, const GlobalOptions& options, Json& answer) {
        call.arguments.in = task.in;
        call.arguments.out = task.out;
        if (const auto result = call.job(options)) answer = asJson(*result);
    };
    const auto missed = [](const FileAnswer& answer) {
        return answer.answer.is_object() && answer.answer.contains("miss");
    };
    auto answers = forEachFile(call.command, call.options, call.batch, tasks, job, [&](const FileAnswer& answer) {
        if (!missed(answer)) take(answer);
    });
    std::vector<FileTask> rest;
    for (const FileAnswer& answer : answers)
        if (missed(answer)) rest.push_back(answer.task);
    if (rest.empty()) return answers;
    requireAnyMeant(answers);
    call.arguments.limits.allowMiss = true;
    auto copied = forEachFile(call.command, call.options, call.batch, rest, job, take);
    std::size_t next = 0;
    for (FileAnswer& answer : answers)
        if (missed(answer)) answer = std::move(copied[next++]);
    return answers;
}

void editMany(Call& call) {
    if (call.batch.outDir.empty() && !call.arguments.dryRun)
        throw UsageError("Several files are edited into a folder: give --out-dir FOLDER, or --dry-run.");
    if (call.arguments.printNetwork) throw UsageError("--print-network: takes one file.");
    call.batch.overwrite = call.arguments.overwrite;
    if (call.arguments.dryRun) call.batch.outDir.clear();
    const auto tasks = tasksFor(surveysNamed(call.batch.files), call.batch);
    call.arguments.overwrite |= call.batch.resume; // what the record does not know was refused before
    readPolygonsOnce(call.arguments.limits);
    const auto answers = editAll(call, tasks, [&](const FileAnswer& answer) {
        if (!call.json || !answer.error.empty()) printAnswer(answer);
    });
    Total total;
    for (const FileAnswer& answer : answers)
        if (!answer.answer.is_null()) total.add(answer.answer);
    if (call.json) {
        printJson(batchAsJson(answers, total.asJson()));
    } else {
        printCounts(total.before, total.after);
        fmt::print("{} of {} files: {} of {} {}\n", total.changedFiles, total.files, total.changed,
                   pointsText(total.points), call.arguments.dryRun ? "would change" : "changed");
    }
    requireAllWell(answers);
}

/// Two names without --out-dir are IN and OUT.
bool isOneFile(const Call& call) {
    const auto& files = call.batch.files;
    if (!call.batch.outDir.empty() || namesSeveral(files[0])) return false;
    return files.size() == 1 || (files.size() == 2 && !call.batch.resume);
}

} // namespace

void makeEditCommand(CLI::App& command, const GlobalOptions& options, EditArguments& arguments, const EditJob& job) {
    const auto call = std::make_shared<Call>(Call{command, options, arguments, job, {}});
    command
        .add_option("FILES", call->batch.files,
                    "IN OUT: the survey, and the file to write. With --out-dir, or for a dry run: surveys, folders and "
                    "patterns")
        ->required();
    addEditOptions(command, arguments);
    command.add_flag("--overwrite", arguments.overwrite, "Replace OUT if it exists");
    addBatchOptions(command, call->batch, true);
    command.add_flag("--changed-only", arguments.changedOnly, "Write only files in which a point changed")
        ->group("Many files");
    command.add_flag("--json", call->json, "Print one JSON document, for scripts");
    command.callback([call] {
        const auto& files = call->batch.files;
        isOneFile(*call) ? editOne(*call, files[0], files.size() > 1 ? files[1] : "") : editMany(*call);
    });
}

void makeKeptEditCommand(CLI::App& command, const GlobalOptions& options, EditArguments& arguments, const EditJob& job,
                         const std::shared_ptr<const std::string>& survey) {
    const auto call = std::make_shared<Call>(Call{command, options, arguments, job, {}});
    arguments.keep = true;
    addEditOptions(command, arguments);
    command.add_flag("--json", call->json, "Print one JSON document, for scripts");
    command.callback([call, survey] { editOne(*call, *survey, ""); });
}

} // namespace corvane
