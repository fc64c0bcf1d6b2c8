// SPDX-License-Identifier: Apache-2.0
// The calls of the cookbook, as they stand there.
#include "ProgramTestSupport.hpp"

#include <sstream>

namespace corvane::test {
namespace {

using Lines = std::vector<std::string>;

Lines linesOf(const std::string& text) {
    Lines lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) { // how long it took is another thing each time
        if (line.ends_with(" MB/s")) line.resize(line.rfind(" in "));
        lines.push_back(line);
    }
    return lines;
}

/// Whether the lines are those expected, where "..." stands for any number of lines.
bool matches(const Lines& lines, const Lines& expected, std::size_t line = 0, std::size_t part = 0) {
    if (part == expected.size()) return line == lines.size();
    if (expected[part] == "...") {
        for (std::size_t next = line; next <= lines.size(); ++next)
            if (matches(lines, expected, next, part + 1)) return true;
        return false;
    }
    return line < lines.size() && lines[line] == expected[part] && matches(lines, expected, line + 1, part + 1);
}

class Cookbook : public testing::Test {
protected:
    struct Call {
        std::string line;
        std::string output; // expected
    };

    /// Files go into the folder; the calls are returned.
    std::vector<Call> read() const {
        std::istringstream text(bytesOf(std::string(CORVANE_DOCS) + "/cookbook.md"));
        std::vector<Call> calls;
        std::string fence, file;
        for (std::string line; std::getline(text, line);) {
            if (line.starts_with("```")) {
                if (fence == "json" && !file.empty()) write(folder / file, block_);
                const bool opens = fence.empty();
                const std::string word = line.substr(3);
                fence = opens ? word.substr(0, word.find(' ')) : "";
                file = opens && word.find(' ') != word.npos ? word.substr(word.find(' ') + 1) : "";
                block_.clear();
            } else if (fence == "console" && line.starts_with("$ ")) {
                calls.push_back({line.substr(2), ""});
            } else if (fence == "console" && !calls.empty()) {
                calls.back().output += line + "\n";
            } else if (!fence.empty()) {
                block_ += line + "\n";
            }
        }
        return calls;
    }

    const Folder folder;
    mutable std::string block_;
};

TEST_F(Cookbook, callsDoWhatItSays) {
    std::filesystem::create_directory(folder / "bin");
    std::filesystem::create_symlink(CORVANE_PROGRAM, folder / "bin/corvane");
    const auto calls = read();
    EXPECT_GE(calls.size(), 25u);
    for (const Call& call : calls) {
        const Outcome run = execute(
            "/bin/sh", {"-c", "cd \"$1\" && PATH=\"$1/bin:$PATH\" && eval \"$2\" 2>&1", "sh", folder / "", call.line});
        EXPECT_TRUE(matches(linesOf(run.out), linesOf(call.output))) << call.line << "\nsays\n"
                                                                     << run.out << "\nwhere this is expected\n"
                                                                     << call.output;
        const Lines said = linesOf(run.out);
        const bool complains = !said.empty() && said.back().starts_with("corvane: ") &&
                               !said.back().starts_with("corvane: note: ") &&
                               !said.back().starts_with("corvane: warning: ");
        EXPECT_EQ(run.status != 0, complains) << call.line << " ends with " << run.status;
    }
}

} // namespace
} // namespace corvane::test
