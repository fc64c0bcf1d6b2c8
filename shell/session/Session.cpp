// SPDX-License-Identifier: Apache-2.0
#include "session/Session.hpp"

#include "base/Failure.hpp"
#include "survey/SurveySaver.hpp"

#include <cmath>
#include <fmt/format.h>

namespace corvane {
namespace {

Holdfast::StrongPtr<Progress> activeProgress(bool quiet) {
    const auto progress = Holdfast::create<Progress>(quiet);
    Kesh::VActionNotifier::activate(Holdfast::StrongPtr<Kesh::VActionNotifier>(progress));
    return progress;
}

} // namespace

std::size_t parseMemory(const std::string& text) {
    std::size_t read = 0;
    double number = 0;
    try {
        number = std::stod(text, &read);
    } catch (const std::exception&) {
        read = 0;
    }
    const std::string unit = text.substr(read);
    const std::string units = "KMGT";
    const std::size_t power = unit.empty() ? 0 : units.find(unit[0]) + 1;
    const double bytes = number * std::exp2(10.0 * double(power));
    if (read == 0 || unit.size() > 1 || power > units.size() || !(bytes >= 1) || !(bytes < 1e18))
        throw UsageError(
            fmt::format("--memory: \"{}\" is no amount of memory; write bytes, or a number with K, M, G or "
                        "T, such as 256M.",
                        text));
    return static_cast<std::size_t>(bytes);
}

Miss missOf(const Survey& survey, const PolygonSet& polygons) {
    const auto plane = [](const std::array<double, 3>& corner) { return PlanePoint{corner[0], corner[1]}; };
    const PlanePoint minimum = plane(survey.las().header.minimum), maximum = plane(survey.las().header.maximum);
    return {describeMiss(polygons, minimum, maximum), lookLikeDegrees(polygons, minimum, maximum)};
}

Session::Session(const GlobalOptions& options)
    : options_(options),
      progress_(activeProgress(options.quiet)),
      plugin_(options.pluginPath.empty() ? findPlugin() : options.pluginPath) {}

std::shared_ptr<const Survey> Session::open(const std::string& path, std::size_t usualMemory) const {
    SurveyOptions options;
    options.memoryBytes = usualMemory;
    if (!options_.memory.empty()) options.memoryBytes = parseMemory(options_.memory);
    auto survey = std::make_shared<const Survey>(path, options);
    for (const std::string& warning : survey->warnings()) warn(path + ": " + warning);
    return survey;
}

void Session::save(const Survey& survey, const std::string& path, bool overwrite, const Kesh::LabelSet* labels) const {
    const Watch watch([this](auto... state) { return progress_->show(state...); });
    for (const std::string& warning : saveSurvey(survey, path, {overwrite, labels, watch})) warn(path + ": " + warning);
}

void Session::printLateWarnings(const Survey& survey) const {
    for (const std::string& warning : survey.lateWarnings()) warn(survey.path() + ": " + warning);
}

} // namespace corvane
