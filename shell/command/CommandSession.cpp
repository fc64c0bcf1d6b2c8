// SPDX-License-Identifier: Apache-2.0
#include "command/CommandSession.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fmt/format.h>

namespace corvane {
namespace {

SessionOptions sessionOptions(const GlobalOptions& options, Terminal& terminal) {
    SessionOptions session = corvane::sessionOptions(options);
    session.watch = terminal.watch();
    session.note = [&terminal](const std::string& sentence) { terminal.note(sentence); };
    return session;
}

} // namespace

std::size_t parseMemory(const std::string& text) {
    constexpr std::string_view units = "KMGT";
    double number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, std::chars_format::fixed);
    const std::string_view unit(stop, static_cast<std::size_t>(end - stop));
    const std::size_t power = unit.empty() ? 0 : units.find(unit) + 1;
    const double bytes = number * std::exp2(10.0 * double(power));
    if (error != std::errc() || unit.size() > 1 || power > units.size() || !(bytes >= 1) || !(bytes < 1e18))
        throw UsageError(
            fmt::format("--memory: \"{}\" is no amount of memory; write bytes, or a number with K, M, G or "
                        "T, such as 256M.",
                        text));
    constexpr double LeastBytes = 1 << 20; // bytes; with less the unit was forgotten
    if (unit.empty() && bytes < LeastBytes)
        throw UsageError(fmt::format("--memory {}: is too little to work with. Did you mean {}M?", text, text));
    return static_cast<std::size_t>(bytes);
}

std::array<int, 2> parseSize(const std::string& option, const std::string& text) {
    constexpr int least = 600, most = 20000; // pixels
    std::array<int, 2> size{};
    const char* end = text.data() + text.size();
    const auto [x, wrong] = std::from_chars(text.data(), end, size[0]);
    const bool two = wrong == std::errc() && x != end && *x == 'x';
    const auto [rest, alsoWrong] = std::from_chars(two ? x + 1 : end, end, size[1]);
    if (!two || alsoWrong != std::errc() || rest != end || std::min(size[0], size[1]) < least ||
        std::max(size[0], size[1]) > most)
        throw UsageError(fmt::format("{} {}: is no size of a picture; give width and height in pixels, {} to {} "
                                     "each, such as 1600x1200.",
                                     option, text, least, most));
    return size;
}

SessionOptions sessionOptions(const GlobalOptions& options) {
    SessionOptions session;
    session.pluginPath = options.pluginPath;
    if (!options.memory.empty()) session.memoryBytes = parseMemory(options.memory);
    session.edits = options.edits;
    return session;
}

std::shared_ptr<const Survey> openSurvey(const GlobalOptions& options, const std::string& path, Reading reading) {
    SurveyOptions how;
    how.reading = reading;
    Terminal terminal(options.quiet);
    auto survey =
        openWithEdits(path, how, options.edits, [&](const std::string& sentence) { terminal.note(sentence); });
    for (const std::string& warning : survey->warnings()) terminal.warn(fmt::format("{}: {}", path, warning));
    return survey;
}

CommandSession::CommandSession(const GlobalOptions& options)
    : terminal_(options.quiet), session_(sessionOptions(options, terminal_)) {}

std::shared_ptr<const Survey> CommandSession::open(const std::string& path, std::size_t usualMemory, Reading reading) {
    auto survey = session_.open(path, usualMemory, reading);
    for (const std::string& warning : survey->warnings()) warn(path + ": " + warning);
    return survey;
}

EditedSurvey CommandSession::openToEdit(const std::string& path) {
    EditedSurvey edited = session_.openToEdit(path);
    for (const std::string& warning : edited.survey->warnings()) warn(path + ": " + warning);
    return edited;
}

void CommandSession::save(const Survey& survey, const std::string& path, bool overwrite, const Kesh::LabelSet* labels) {
    for (const std::string& warning : session_.save(survey, path, overwrite, labels)) warn(path + ": " + warning);
    terminal_.clearBar();
}

void CommandSession::printLateWarnings(const Survey& survey) {
    for (const std::string& warning : survey.lateWarnings()) warn(survey.path() + ": " + warning);
}

} // namespace corvane
