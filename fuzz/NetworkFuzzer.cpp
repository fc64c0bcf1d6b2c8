// SPDX-License-Identifier: Apache-2.0
// Any text as a network file, run on a small survey with the program's own objects: what cannot be done ends in a
// sentence that names the file, and what was done is written as a network that does the same to another copy of the
// survey. Run with TMPDIR in memory and without standard input, in a folder without files that a network might name.
#include "MemoryFile.hpp"
#include "base/Failure.hpp"
#include "network/NetworkFile.hpp"
#include "sample/SampleSurvey.hpp"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace corvane;
using fuzz::require;

const std::string& surveyPath() {
    static const std::string path = [] {
        const std::string made = std::filesystem::temp_directory_path() / fmt::format("corvane.fuzz.{}.las", getpid());
        SampleOptions options;
        options.points = 500;
        options.overwrite = true;
        writeSampleSurvey(made, options);
        return made;
    }();
    return path;
}

std::vector<std::uint8_t> classesOf(const Survey& survey) {
    std::vector<std::uint8_t> classes;
    const auto field = survey.points().findField("Classification");
    for (const auto& [number, fragment] : field->fragments()) {
        const auto data = field->getData(fragment.id);
        const auto values = dynamic_cast<const Fiber::MemArray<std::uint8_t>&>(*data).values();
        classes.insert(classes.end(), values.begin(), values.end());
    }
    return classes;
}

/// What the survey's classes are behind it; `written` is what was done as a network file.
std::vector<std::uint8_t> run(const std::string& text, std::string& written) {
    SurveyOptions how;
    how.fragmentPoints = 200;
    const auto survey = std::make_shared<const Survey>(surveyPath(), how);
    Network network(survey);
    NetworkHooks hooks;
    hooks.report = [](const Report&) {};
    hooks.save = [](const std::string&, bool) {};
    hooks.note = [](const std::string& sentence) { require(!sentence.empty() && sentence.back() == '.'); };
    NetworkFile(text, "network.json").run(network, hooks);
    written = network.record().asJson("", "", "", "").dump();
    return classesOf(*survey);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::string written, again;
    std::vector<std::uint8_t> classes;
    try {
        classes = run(text, written);
    } catch (const Failure& failure) {
        require(std::string_view(failure.what()).starts_with("network.json"));
        return 0;
    }
    require(run(written, again) == classes);
    return 0;
}
