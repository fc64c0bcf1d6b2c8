// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <string>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace corvane::test {

/// What happens to a process at one of its calls that change files: writing, syncing, cutting, naming.
struct Fate {
    enum Kind { Nothing, Killed, Fails, WritesHalf };
    Kind kind = Nothing;
    int call = 0;         ///< which one, from 0
    int error = EIO;      ///< of one that fails
    bool forGood = false; ///< all later ones fail, too
};

/// One of those calls, as it was begun.
struct FileCall {
    enum Kind { Writes, Cuts, Syncs, Removes, Names };
    Kind kind = Names;
    std::string path{};
    std::uint64_t offset = 0; ///< of a write; the new length of what is cut
    std::string bytes{};
};

/// How a traced process ended.
struct TracedEnd {
    int status = 0;      ///< 128 and more: by a signal
    int calls = 0;       ///< that change files, as far as they were begun
    bool struck = false; ///< it lived to meet its fate
};

/// Runs functions in processes of their own, whose calls the kernel shows to this one. Nothing is put into them, so
/// real programs can be run so, with threads.
class TracedProcess {
public:
    static constexpr bool Possible =
#ifdef __x86_64__
        true;
#else
        false;
#endif

    /// The function ends the process, by exec or by returning; 0: well. What it says goes to the file. What it did is
    /// added to `seen`.
    static TracedEnd run(const std::function<int()>& function, const Fate& fate, const std::string& output,
                         std::vector<FileCall>* seen = nullptr) {
        const pid_t child = fork();
        if (child == 0) begin(function, output);
        int status = 0;
        waitpid(child, &status, 0);
        ptrace(PTRACE_SETOPTIONS, child, 0, PTRACE_O_TRACESECCOMP | PTRACE_O_TRACECLONE | PTRACE_O_EXITKILL);
        ptrace(PTRACE_CONT, child, 0, 0);
        TracedEnd end;
        for (pid_t stopped; (stopped = waitpid(-1, &status, __WALL)) > 0;) {
            if (!WIFSTOPPED(status)) {
                if (stopped != child) continue; // a thread of it
                end.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
                break;
            }
            if (status >> 8 == (SIGTRAP | PTRACE_EVENT_SECCOMP << 8)) meet(stopped, child, fate, end, seen);
            const int signal = WSTOPSIG(status);
            const bool ours = signal == SIGTRAP || signal == SIGSTOP;
            ptrace(PTRACE_CONT, stopped, 0, ours ? 0 : signal);
        }
        return end;
    }

private:
    [[noreturn]] static void begin(const std::function<int()>& function, const std::string& output) {
        const int said = open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        for (const int stream : {1, 2}) dup2(said, stream);
        setenv("ASAN_OPTIONS", "detect_leaks=0", 1); // which would trace, too
        std::vector<sock_filter> filter{BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
        for (const unsigned call : {SYS_write, SYS_pwrite64, SYS_fsync, SYS_fdatasync, SYS_ftruncate, SYS_linkat,
                                    SYS_renameat2, SYS_unlinkat, SYS_copy_file_range
#ifdef __x86_64__
                                    ,
                                    SYS_rename, SYS_unlink
#endif
             }) {
            filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 1));
            filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRACE));
        }
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
        sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
        ptrace(PTRACE_TRACEME, 0, 0, 0);
        prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
        raise(SIGSTOP);
        if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) _exit(126);
        int status = 125;
        try {
            status = function();
        } catch (...) {
        }
        _exit(status);
    }

    /// What it says does not count, nor do pipes, into which sanitizers write to learn whether memory can be read.
    static bool writesFile(pid_t thread, unsigned long long descriptor) {
        struct stat about {};
        const std::string link = "/proc/" + std::to_string(thread) + "/fd/" + std::to_string(descriptor);
        return descriptor > STDERR_FILENO && stat(link.c_str(), &about) == 0 && S_ISREG(about.st_mode);
    }

#ifdef __x86_64__
    static std::string proc(pid_t thread, const std::string& name) {
        return "/proc/" + std::to_string(thread) + "/" + name;
    }

    static std::string memory(pid_t thread, unsigned long long address, std::size_t length) {
        std::string bytes(length, '\0');
        std::ifstream(proc(thread, "mem"), std::ios::binary)
            .seekg(static_cast<std::streamoff>(address))
            .read(bytes.data(), static_cast<std::streamsize>(length));
        return bytes;
    }

    static std::uint64_t position(pid_t thread, unsigned long long descriptor) {
        std::ifstream about(proc(thread, "fdinfo/" + std::to_string(descriptor)));
        std::string key;
        std::uint64_t value = 0;
        about >> key >> value; // "pos:"
        return value;
    }

    static FileCall seenAs(pid_t thread, const user_regs_struct& registers) {
        FileCall call;
        const auto number = static_cast<long>(registers.orig_rax);
        if (number == SYS_unlink || number == SYS_unlinkat) {
            call.kind = FileCall::Removes;
            call.path = memory(thread, number == SYS_unlink ? registers.rdi : registers.rsi, PATH_MAX).c_str();
            return call;
        }
        std::error_code error;
        call.path = std::filesystem::read_symlink(proc(thread, "fd/" + std::to_string(registers.rdi)), error);
        if (number == SYS_write || number == SYS_pwrite64) {
            call.kind = FileCall::Writes;
            call.offset = number == SYS_write ? position(thread, registers.rdi) : registers.r10;
            call.bytes = memory(thread, registers.rsi, registers.rdx);
        } else if (number == SYS_ftruncate) {
            call.kind = FileCall::Cuts;
            call.offset = registers.rsi;
        } else if (number == SYS_fsync || number == SYS_fdatasync) {
            call.kind = FileCall::Syncs;
        }
        return call;
    }
#endif

    static void meet(pid_t thread, pid_t process, const Fate& fate, TracedEnd& end, std::vector<FileCall>* seen) {
#ifdef __x86_64__
        user_regs_struct registers{};
        ptrace(PTRACE_GETREGS, thread, 0, &registers);
        const bool writes = registers.orig_rax == SYS_write || registers.orig_rax == SYS_pwrite64;
        if (registers.orig_rax == SYS_write && !writesFile(thread, registers.rdi)) return;
        if (seen) seen->push_back(seenAs(thread, registers));
        const int call = end.calls++;
        const bool now = call == fate.call || (call > fate.call && fate.forGood);
        if (fate.kind == Fate::Nothing || !now) return;
        end.struck = true;
        if (fate.kind == Fate::Killed) {
            kill(process, SIGKILL);
        } else if (fate.kind == Fate::Fails) {
            registers.orig_rax = ~0ull; // no call
            registers.rax = static_cast<unsigned long long>(-fate.error);
        } else if (writes && registers.rdx > 1) {
            registers.rdx /= 2;
        }
        ptrace(PTRACE_SETREGS, thread, 0, &registers);
#endif
    }
};

} // namespace corvane::test
