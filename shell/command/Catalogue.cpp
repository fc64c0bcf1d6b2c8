// SPDX-License-Identifier: Apache-2.0
// corvane catalogue: the modules that the plug-in lists.
#include "Kesh/catalogue/VCreator.hpp"
#include "command/Commands.hpp"
#include "command/Output.hpp"
#include "network/NetworkFacts.hpp"

#include <fmt/format.h>

namespace corvane {
namespace {

using Kesh::CreatorProperty;

/// What a parameter has not is left out.
Json describe(const Kesh::ParameterIntroduction& parameter) {
    Json description{{"name", parameter.name},
                     {"kind", kindOfValues(parameter.initial.type())},
                     {"help", parameter.help},
                     {"level", parameter.expertLevel},
                     {"initial", (*parameter.initial).text()},
                     {"output", parameter.isOutput}};
    if (const auto* choice = dynamic_cast<const Kesh::VValue<Kesh::Enum>*>(&*parameter.initial))
        description["cases"] = choice->value.cases();
    if (!parameter.group.empty()) description["group"] = parameter.group;
    if (parameter.flags != 0) description["flags"] = parameter.flags;
    description["properties"] = Json::object();
    for (const auto& [name, property] : parameter.properties)
        std::visit([&](const auto& value) { description["properties"][name] = value; }, property);
    return description;
}

Json describe(const Kesh::VCreatorBase& creator) {
    const Kesh::VCreatorProperties& properties = creator.properties();
    const std::string domain = properties.text(CreatorProperty::Domain);
    Json parameters = Json::array();
    for (const auto& parameter : properties.parameters()) parameters.push_back(describe(parameter));
    return {{"key", creator.key()},
            {"name", creator.name()},
            {"category", properties.text(CreatorProperty::Category)},
            {"domain", domain.empty() ? Json() : Json(domain)},
            {"descriptions", properties.texts(CreatorProperty::Description)},
            {"date", properties.text(CreatorProperty::BuildDate)},
            {"source", properties.text(CreatorProperty::SourceFile)},
            {"integer", creator.integer()},
            {"accepts", creator.acceptedTypes()},
            {"provides", creator.providedType()},
            {"parameters", parameters}};
}

/// What stands behind the help of a parameter: everything else that is known of it.
std::string detailsOf(const Json& parameter) {
    std::string details;
    const auto add = [&](const std::string& text) { details += (details.empty() ? "" : "; ") + text; };
    const std::string kind = parameter["kind"], initial = parameter["initial"];
    if (!initial.empty() && kind != "labels" && kind != "histogram") add("initially " + initial);
    if (parameter.contains("cases")) add(fmt::format("one of {}", fmt::join(parameter["cases"], ", ")));
    if (parameter["level"] > 0) add(fmt::format("level {}", parameter["level"].get<int>()));
    if (parameter["output"]) add("output");
    if (parameter.contains("group")) add("group " + parameter["group"].get<std::string>());
    if (parameter.contains("flags")) add(fmt::format("flags {}", parameter["flags"].get<unsigned>()));
    for (const auto& [name, value] : parameter["properties"].items())
        add(fmt::format("{} {}", name, value.is_string() ? value.get<std::string>() : value.dump()));
    return details;
}

void print(const Json& entry) {
    fmt::print("{}  ({}; accepts {})\n", entry["key"].get<std::string>(), entry["date"].get<std::string>(),
               fmt::join(entry["accepts"], ", "));
    for (const std::string text : entry["descriptions"]) fmt::print("    {}\n", text);
    for (const Json& parameter : entry["parameters"]) {
        fmt::print("        {:<14} {}\n", parameter["name"].get<std::string>(), parameter["kind"].get<std::string>());
        for (const std::string& text : {parameter["help"].get<std::string>(), detailsOf(parameter)})
            if (!text.empty()) fmt::print("            {}\n", text);
    }
}

void run(const GlobalOptions& options, bool json) {
    const CommandSession session(options);
    Json entries = Json::array();
    for (const auto& creator : Kesh::VCreatorBase::catalogue()) {
        entries.push_back(describe(*creator));
        if (!json) print(entries.back());
    }
    if (json) printJson(entries);
}

} // namespace

void addCatalogue(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command = program.add_subcommand("catalogue", "List the modules of the plug-in and their parameters.");
    const auto json = addJsonFlag(*command);
    command->footer(R"(Examples:
  corvane catalogue
  corvane catalogue --json | jq .)");
    command->callback([&options, json] { run(options, *json); });
}

} // namespace corvane
