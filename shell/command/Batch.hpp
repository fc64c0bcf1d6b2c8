// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "command/CommandSession.hpp"
#include "command/Output.hpp"

#include <CLI/CLI.hpp>

#include <functional>
#include <string>
#include <vector>

namespace corvane {

/// What all commands take that work on many files.
struct BatchArguments {
    std::vector<std::string> files;
    std::string outDir, suffix;
    unsigned jobs = 1;
    bool resume = false, overwrite = false;
};

/// Adds --jobs, and for a command that writes --out-dir, --suffix and --resume. `arguments` must live as long as the
/// command.
void addBatchOptions(CLI::App& command, BatchArguments& arguments, bool writes);

/// One file and what is to be made of it; `out` is empty where nothing is written.
struct FileTask {
    std::string in, out;
};

/// What became of one file.
struct FileAnswer {
    FileTask task;
    Json answer;       ///< null when it failed
    std::string error; ///< a finished sentence; empty when all went well
    int status = 0;    ///< as the program's exit status
};

/// The surveys that arguments name: files, folders (the .las and .laz files in them) and patterns such as
/// "tiles/*.laz", each sorted by name. Throws UsageError for one that names none.
std::vector<std::string> surveysNamed(const std::vector<std::string>& arguments);

/// Whether an argument names several files, or may.
bool namesSeveral(const std::string& argument);

/// Where the results go: in `outDir`, under the name of the file with the suffix before or in place of its ending.
/// Throws UsageError when two files would be written to one place, or one over a file that is read.
std::vector<FileTask> tasksFor(const std::vector<std::string>& files, const BatchArguments& arguments);

/// Does a job for each file in a process of its own, several at a time, and shows one bar for all. One that fails does
/// not stop the others. Calls `done` with each answer in the order of the files, and returns them all. Interrupted,
/// it ends the processes and throws Interrupted. No thread may have been started before.
///
/// With --resume, what a record in the output folder says of files that were done by the same call, and are as they
/// were, is taken from there.
///
/// A job fills in its answer. What it had answered before it threw NotClean goes with that.
using FileJob = std::function<void(const FileTask& task, const GlobalOptions& options, Json& answer)>;
using AnswerTaker = std::function<void(const FileAnswer& answer)>;
std::vector<FileAnswer> forEachFile(const CLI::App& command, const GlobalOptions& options,
                                    const BatchArguments& arguments, const std::vector<FileTask>& tasks,
                                    const FileJob& job, const AnswerTaker& done);

/// The document of a call on many files: "files", "total" and "failed".
Json batchAsJson(const std::vector<FileAnswer>& answers, Json total);

/// Throws Failure when no point was meant in any of the files: each answer says why, as "miss".
void requireAnyMeant(const std::vector<FileAnswer>& answers);

/// Throws what the exit status of the whole call is: Failure when a file failed, else NotClean when one is not clean.
void requireAllWell(const std::vector<FileAnswer>& answers);

} // namespace corvane
