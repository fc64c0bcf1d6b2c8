// SPDX-License-Identifier: Apache-2.0
#include "command/FileProcess.hpp"

#include "base/Threads.hpp"
#include "base/Watch.hpp"
#include "command/Signals.hpp"
#include "command/Terminal.hpp"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <new>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace corvane {
namespace {

constexpr int JobFailed = 1, AnswerNotClean = 3;

Json errorAsJson(const std::string& sentence, int status) { return {{"error", sentence}, {"status", status}}; }

/// What the job gives, or how it failed. One that is not clean may have an answer all the same.
Json resultOf(const std::function<void(Json& answer)>& job) {
    Json answer;
    try {
        job(answer);
        return {{"answer", answer}};
    } catch (const NotClean& problem) {
        Json json = errorAsJson(problem.what(), AnswerNotClean);
        if (!answer.is_null()) json["answer"] = answer;
        return json;
    } catch (const std::bad_alloc&) {
        return errorAsJson("There is not enough memory; give --memory a smaller size, or fewer --jobs.", JobFailed);
    } catch (const std::exception& problem) {
        return errorAsJson(problem.what(), JobFailed);
    }
}

} // namespace

FileProcess::FileProcess(const FileTask& task, const std::function<void(Json& answer)>& job, bool alone) {
    answer_.task = task;
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        throw Failure(fmt::format("{}: no pipe can be had for its process: {}.", task.in, std::strerror(errno)));
    const pid_t parent = getpid();
    std::fflush(nullptr); // what is buffered would be printed twice
    process_ = fork();
    if (process_ < 0) {
        const int error = errno;
        close(ends[0]);
        close(ends[1]);
        throw Failure(
            fmt::format("{}: no process can be started: {}; give fewer --jobs.", task.in, std::strerror(error)));
    }
    if (process_ > 0) {
        close(ends[1]);
        descriptor_ = ends[0];
        return;
    }
    close(ends[0]);
    prctl(PR_SET_PDEATHSIG, SIGTERM); // the results are for the parent, which may be killed
    if (getppid() != parent) _exit(JobFailed);
    // Of OpenMP, too, which reads it when the plug-in brings it.
    if (!alone) {
        mostThreads() = 1;
        setenv("OMP_NUM_THREADS", "1", 1);
    }
    tellParent(ends[1]);
    sendToParent(resultOf(job));
    std::fflush(nullptr);
    _exit(0); // what the parent has registered is for it to end
}

FileProcess::~FileProcess() {
    if (process_ > 0) {
        interrupt();
        waitpid(process_, nullptr, 0);
    }
    if (descriptor_ >= 0) close(descriptor_);
}

bool FileProcess::read(const std::function<void(const Json& message)>& take) {
    std::array<char, 1 << 16> buffer;
    const ssize_t got = ::read(descriptor_, buffer.data(), buffer.size());
    if (got < 0 && (errno == EINTR || errno == EAGAIN)) return true;
    if (got <= 0) return false;
    pending_.append(buffer.data(), static_cast<std::size_t>(got));
    std::size_t begin = 0;
    for (std::size_t end; (end = pending_.find('\n', begin)) != pending_.npos; begin = end + 1)
        takeLine(pending_.substr(begin, end - begin), take);
    pending_.erase(0, begin);
    return true;
}

void FileProcess::takeLine(const std::string& line, const std::function<void(const Json& message)>& take) {
    const Json message = Json::parse(line, nullptr, false);
    if (message.is_discarded()) return;
    answered_ |= message.contains("answer") || message.contains("error");
    if (message.contains("answer")) answer_.answer = message["answer"];
    if (message.contains("error")) {
        answer_.error = message["error"];
        answer_.status = message["status"];
    }
    take(message);
}

void FileProcess::interrupt() const {
    if (process_ > 0) kill(process_, SIGTERM);
}

FileAnswer FileProcess::finish() {
    int status = 0;
    while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
    }
    process_ = -1;
    if (!answered_) {
        answer_.status = JobFailed;
        answer_.error = WIFSIGNALED(status) ? fmt::format("{}: its process was ended by the signal \"{}\".",
                                                          answer_.task.in, strsignal(WTERMSIG(status)))
                                            : fmt::format("{}: its process ended without an answer.", answer_.task.in);
    }
    return std::move(answer_);
}

} // namespace corvane
