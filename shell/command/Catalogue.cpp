// SPDX-License-Identifier: Apache-2.0
// corvane catalogue: the modules that the plug-in lists.
#include "command/Commands.hpp"
#include "command/Output.hpp"

#include <fmt/format.h>

namespace corvane {
namespace {

using Kesh::CreatorProperty;

Json describe(const Kesh::VCreatorBase& creator) {
    const Kesh::VCreatorProperties& properties = creator.properties();
    const std::string domain = properties.text(CreatorProperty::Domain);
    return {{"key", creator.key()},
            {"name", creator.name()},
            {"category", properties.text(CreatorProperty::Category)},
            {"domain", domain.empty() ? Json() : Json(domain)},
            {"descriptions", properties.texts(CreatorProperty::Description)},
            {"date", properties.text(CreatorProperty::BuildDate)},
            {"source", properties.text(CreatorProperty::SourceFile)},
            {"integer", creator.integer()},
            {"accepts", creator.acceptedTypes()},
            {"provides", creator.providedType()}};
}

/// One line: name, initial value, bounds, help.
void printParameter(const Kesh::VParameter& parameter) {
    const auto& initial = parameter.DefaultValue();
    const int* minimum = parameter.properties().getValue<int>("min");
    const int* maximum = parameter.properties().getValue<int>("max");
    fmt::print("        {:<12} {}{}{}\n", parameter.Name(), parameter.help(),
               initial && !initial->text().empty() ? fmt::format(" Initially {}.", initial->text()) : "",
               minimum && maximum ? fmt::format(" {} to {}.", *minimum, *maximum) : "");
}

void printEntry(Kesh::VCreatorBase& creator) {
    fmt::print("{}  ({}; accepts {})\n", creator.key(), creator.properties().text(CreatorProperty::BuildDate),
               fmt::join(creator.acceptedTypes(), ", "));
    for (const std::string& text : creator.properties().texts(CreatorProperty::Description))
        fmt::print("    {}\n", text);
    const Holdfast::WeakPtr<Kesh::VObject> object = creator.create("", nullptr);
    if (const auto made = object.lock())
        for (const auto& slot : made->allSlots()) printParameter(*slot->parameter());
    Kesh::VCreatorBase::deleteInstance(object);
}

void run(const GlobalOptions& options, bool json) {
    const Session session(options);
    Json entries = Json::array();
    for (const auto& creator : Kesh::VCreatorBase::catalogue()) {
        entries.push_back(describe(*creator));
        if (!json) printEntry(*creator);
    }
    if (json) printJson(entries);
}

} // namespace

void addCatalogue(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command = program.add_subcommand("catalogue", "List the modules of the plug-in.");
    const auto json = addJsonFlag(*command);
    command->callback([&options, json] { run(options, *json); });
}

} // namespace corvane
