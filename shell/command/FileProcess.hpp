// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "command/Batch.hpp"

#include <functional>
#include <string>
#include <sys/types.h>

namespace corvane {

/// A process that does the job of one file, and tells what it finds on the way by a pipe, a JSON document on each line.
class FileProcess {
public:
    /// Starts it, with one thread for each loop when others work beside it. Throws Failure when there is no process to
    /// be had.
    FileProcess(const FileTask& task, const std::function<void(Json& answer)>& job, bool alone);
    ~FileProcess();
    FileProcess(const FileProcess&) = delete;
    FileProcess& operator=(const FileProcess&) = delete;

    /// To be polled.
    int descriptor() const { return descriptor_; }

    /// Takes what came, and calls the function with each finished line. False at the end.
    bool read(const std::function<void(const Json& message)>& take);

    /// Ends it by SIGTERM, after which it cleans up.
    void interrupt() const;

    /// Waits for its end. The answer as far as it got.
    FileAnswer finish();

private:
    void takeLine(const std::string& line, const std::function<void(const Json& message)>& take);

    FileAnswer answer_;
    pid_t process_ = -1;
    int descriptor_ = -1;
    std::string pending_; // a line without its end
    bool answered_ = false;
};

} // namespace corvane
