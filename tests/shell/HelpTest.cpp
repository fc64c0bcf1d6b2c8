// SPDX-License-Identifier: Apache-2.0
// Help, man pages and completion: one table in several forms.
#include "ProgramTestSupport.hpp"

#include <sstream>

namespace corvane::test {
namespace {

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

/// The commands that the program's help lists.
std::vector<std::string> commandsIn(const std::string& help) {
    std::vector<std::string> names;
    const auto lines = linesOf(help);
    const auto head = std::ranges::find(lines, "Subcommands:");
    for (auto line = head; line != lines.end() && ++line != lines.end() && line->starts_with("  ");)
        names.push_back(line->substr(2, line->find(' ', 2) - 2));
    return names;
}

/// The long options that help lists.
std::vector<std::string> optionsIn(const std::string& help) {
    std::vector<std::string> options;
    for (const std::string& line : linesOf(help)) {
        const std::size_t begin = line.find("--");
        if (line.starts_with("  -") && begin != line.npos)
            options.push_back(line.substr(begin, line.find_first_of(" ,", begin) - begin));
    }
    return options;
}

/// Without what roff asks for.
std::string plain(std::string page) {
    const std::string apostrophe = "\\(aq";
    for (std::size_t at; (at = page.find(apostrophe)) != page.npos;) page.replace(at, apostrophe.size(), "'");
    std::erase(page, '\\');
    return page;
}

class Help : public Program {
protected:
    void SetUp() override {
        const Outcome help = corvane({"help"});
        ASSERT_EQ(help.status, 0);
        commands = commandsIn(help.out);
        ASSERT_GT(commands.size(), 10u) << help.out;
        std::ranges::sort(commands);
    }

    /// What bash offers for the last of these words.
    std::vector<std::string> offered(const std::string& words) const {
        const std::string script = folder / "complete.sh", completion = folder / "completion";
        write(completion, corvane({"help", "--completion", "bash"}).out);
        write(script, fmt::format(". {}\ncompopt() {{ :; }}\nCOMP_WORDS=({})\nCOMP_CWORD=$((${{#COMP_WORDS[@]}} - 1))\n"
                                  "_corvane\nprintf '%s\\n' \"${{COMPREPLY[@]}}\"\n",
                                  completion, words));
        const Outcome run = execute("/bin/bash", {script});
        EXPECT_EQ(run.err, "");
        return linesOf(run.out);
    }

    std::vector<std::string> commands;
};

TEST_F(Help, isTheSameHoweverItIsAskedForAndHoldsWhatAllCommandsTake) {
    for (const std::string& command : commands) {
        const std::string help = corvane({command, "--help"}).out;
        EXPECT_EQ(corvane({"help", command}).out, help);
        for (const char* part : {"Global options:", "--memory", "Exit status:"})
            EXPECT_TRUE(holds(help, part)) << command << " --help does not say " << part;
    }
    EXPECT_EQ(corvane({"help"}).out, corvane({"--help"}).out);
    EXPECT_EQ(corvane({"-V"}).out, corvane({"--version"}).out);
    expectRefused({"help", "histogramm"}, 2, {"histogramm", "Did you mean \"histogram\"?"});
}

TEST_F(Help, isWholeInManPages) {
    const std::string pages = folder / "man1";
    ASSERT_EQ(corvane({"help", "--man", pages}).status, 0);
    commands.emplace_back();
    for (const std::string& command : commands) {
        const std::string path = pages + (command.empty() ? "/corvane.1" : "/corvane-" + command + ".1");
        const std::string page = plain(bytesOf(path));
        const std::string help = command.empty() ? corvane({"help"}).out : corvane({"help", command}).out;
        for (const std::string& option : optionsIn(help))
            EXPECT_TRUE(holds(page, "fB" + option + "fR")) << option << " is not in " << path;
        for (const std::string& line : linesOf(help)) {
            if (line.starts_with("  corvane ")) {
                EXPECT_TRUE(holds(page, line.substr(2, line.find('\\') - 2))) << line;
            }
        }
        if (std::filesystem::exists("/usr/bin/groff")) {
            EXPECT_EQ(execute("/usr/bin/groff", {"-man", "-Tutf8", "-ww", "-z", path}).err, "");
        }
    }
}

TEST_F(Help, isWholeInCompletion) {
    EXPECT_EQ(offered("corvane ''"), commands);
    EXPECT_EQ(offered("corvane re"), (std::vector<std::string>{"reclassify", "redo", "relabel", "restore"}));
    EXPECT_EQ(offered("corvane --quiet reclassify in.las --switch ''"), (std::vector<std::string>{"0", "1", "2", "3"}));
    EXPECT_EQ(offered("corvane reclassify in.las --switch = 2"), std::vector<std::string>{"2"});
    EXPECT_EQ(offered("corvane edit in.las re"), (std::vector<std::string>{"reclassify", "relabel"}));
    EXPECT_EQ(offered("corvane edit in.las reclassify --switch 1"), std::vector<std::string>{"1"});
    EXPECT_EQ(offered("corvane edit in.las relabel --ass"), std::vector<std::string>{"--assign"});
    EXPECT_EQ(offered("corvane help sh"), std::vector<std::string>{"shape"});
    EXPECT_EQ(offered("corvane info ''"), std::vector<std::string>{""}) << "files are left to the shell";
    for (const std::string& command : commands) {
        const auto options = offered("corvane " + command + " --");
        for (const std::string& option : optionsIn(corvane({"help", command}).out))
            EXPECT_TRUE(std::ranges::count(options, option)) << command << " is not offered " << option;
    }
    // The other shells are not at hand everywhere: at least every command and option stands in their scripts.
    for (const std::string shell : {"zsh", "fish"}) {
        const std::string script = corvane({"help", "--completion", shell}).out;
        for (const std::string& command : commands)
            for (const std::string& option : optionsIn(corvane({"help", command}).out))
                EXPECT_TRUE(holds(script, shell == "zsh" ? option + "[" : "-l " + option.substr(2))) << option;
    }
}

} // namespace
} // namespace corvane::test
