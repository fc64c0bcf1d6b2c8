// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "command/Batch.hpp"

#include <map>
#include <string>

namespace corvane {

/// What was done by calls on many files, in a file of the output folder that has a line for each result: the call,
/// size and time of the input, and a checksum of the output. So a call that was stopped can go on.
class BatchRecord {
public:
    /// Reads what is there; lines that cannot be read are passed over. The call is told by the command's options, and
    /// by size and time of the files that they name.
    BatchRecord(const std::string& folder, const CLI::App& command);

    /// What the record says of a task; null when it was not done by this call, or a file is another one by now.
    Json answerFor(const FileTask& task) const;

    /// Whether the record knows the output as it is, so that it may be replaced.
    bool wrote(const FileTask& task) const;

    /// Adds a line. Throws Failure.
    void add(const FileTask& task, const Json& answer);

    static constexpr char Name[] = "corvane-record.jsonl";

private:
    std::string path_, call_;
    std::map<std::string, Json> lines_; // the last one of each output
};

} // namespace corvane
