// SPDX-License-Identifier: Apache-2.0
#include "command/BatchRecord.hpp"

#include "base/InputFile.hpp"
#include "base/Text.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

namespace corvane {
namespace {

/// Size and time of a file, by which a change shows; empty when there is none.
std::string stateOf(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return "";
    return fmt::format("{} bytes, {}.{:09}", status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec);
}

/// FNV-1a of 64 bits, over words of eight bytes and then the rest.
std::string checksumOf(const std::string& path) {
    constexpr std::uint64_t Prime = 0x100000001b3;
    const InputFile file(path);
    std::vector<std::byte> piece(std::size_t{1} << 20);
    std::uint64_t sum = 0xcbf29ce484222325;
    for (std::uint64_t begin = 0; begin < file.size(); begin += piece.size()) {
        const auto bytes = std::span(piece).first(std::min<std::uint64_t>(piece.size(), file.size() - begin));
        file.read(begin, bytes);
        std::size_t i = 0;
        for (std::uint64_t word = 0; i + sizeof word <= bytes.size(); i += sizeof word) {
            std::memcpy(&word, bytes.data() + i, sizeof word);
            sum = (sum ^ word) * Prime;
        }
        for (; i < bytes.size(); ++i) sum = (sum ^ std::to_integer<std::uint64_t>(bytes[i])) * Prime;
    }
    return fmt::format("{:016x}", sum);
}

/// Everything that can make a difference to a result. How many work at it and what is printed cannot.
std::string textOf(const CLI::App& command) {
    const std::set<std::string> without{"--jobs", "--resume", "--json", "--overwrite", "--out-dir", "--help"};
    std::string text = command.get_name();
    for (const CLI::Option* option : command.get_options()) {
        if (option->count() == 0 || option->get_positional() || without.contains(option->get_name())) continue;
        text += " " + option->get_name();
        for (const std::string& value : option->results()) {
            text += fmt::format(" \"{}\"", value);
            if (const std::string state = stateOf(value); !state.empty()) text += fmt::format(" ({})", state);
        }
    }
    return asUtf8(text);
}

std::string keyOf(const FileTask& task) { return asUtf8(std::filesystem::path(task.out).filename().string()); }

} // namespace

BatchRecord::BatchRecord(const std::string& folder, const CLI::App& command)
    : path_((std::filesystem::path(folder) / Name).string()), call_(textOf(command)) {
    std::ifstream file(path_);
    for (std::string line; std::getline(file, line);) {
        const Json json = Json::parse(line, nullptr, false);
        const bool usable = json.is_object() && json.contains("out") && json["out"].is_string() &&
                            json.contains("call") && json.contains("in") && json.contains("state") &&
                            json.contains("checksum") && json.contains("answer");
        if (usable) lines_[json["out"]] = json;
    }
}

bool BatchRecord::wrote(const FileTask& task) const {
    const auto line = lines_.find(keyOf(task));
    std::error_code error;
    return line != lines_.end() && std::filesystem::is_regular_file(task.out, error) &&
           line->second["checksum"] == checksumOf(task.out);
}

Json BatchRecord::answerFor(const FileTask& task) const {
    const auto line = lines_.find(keyOf(task));
    if (line == lines_.end() || line->second["call"] != call_ ||
        line->second["in"] != asUtf8(std::filesystem::absolute(task.in).string()) ||
        line->second["state"] != stateOf(task.in))
        return nullptr;
    return wrote(task) ? line->second["answer"] : Json();
}

void BatchRecord::add(const FileTask& task, const Json& answer) {
    const Json line{{"out", keyOf(task)},
                    {"in", asUtf8(std::filesystem::absolute(task.in).string())},
                    {"state", stateOf(task.in)},
                    {"checksum", checksumOf(task.out)},
                    {"call", call_},
                    {"answer", answer}};
    const std::string text = line.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
    const int file = open(path_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    const bool written = file >= 0 && write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    const int error = errno;
    if (file >= 0) close(file);
    if (!written)
        throw Failure(fmt::format("{}: cannot be written: {}. Without it --resume does not know what was done.", path_,
                                  std::strerror(error)));
    lines_[keyOf(task)] = line;
}

} // namespace corvane
