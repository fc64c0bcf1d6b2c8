// SPDX-License-Identifier: Apache-2.0
// corvane info: what a LAS file says of itself, without reading the points.
#include "base/Text.hpp"
#include "command/Commands.hpp"
#include "command/Output.hpp"
#include "command/SoundParts.hpp"
#include "survey/SurveyFields.hpp"

#include <fmt/format.h>

namespace corvane {
namespace {

/// "LASF_Projection/2112:639": user, record number, bytes.
std::vector<std::string> describe(const std::vector<LasRecord>& records) {
    std::vector<std::string> texts;
    for (const LasRecord& record : records)
        texts.push_back(fmt::format("{}/{}:{}", record.userId, record.recordId, record.payloadLength));
    return texts;
}

/// Nothing for records as they are.
Json compressionOf(const LasFile& las) {
    const LazBlock* block = las.compression();
    if (!block) return nullptr;
    Json compression{{"kind", las.copc ? "COPC" : "LAZ"},
                     {"compressor", static_cast<int>(block->layout.compressor)},
                     {"itemVersion", block->layout.items.front().version},
                     {"chunks", block->chunks.size()}};
    if (block->layout.chunked() && !block->layout.variable()) compression["chunkPoints"] = block->layout.chunkPoints;
    if (las.copc) compression["spacing"] = las.copc->spacing;
    return compression;
}

/// The same in words.
std::string compressionText(const LasFile& las) {
    const LazBlock* block = las.compression();
    if (!block) return "none";
    const std::string chunks = fmt::format("{} chunk{}", block->chunks.size(), block->chunks.size() == 1 ? "" : "s");
    if (las.copc)
        return fmt::format("COPC, an octree of {} nodes, {} units between points at its root", block->chunks.size(),
                           las.copc->spacing);
    if (!block->layout.chunked()) return "LAZ, one stream";
    if (block->layout.variable()) return fmt::format("LAZ, {} of variable size", chunks);
    return fmt::format("LAZ, {} of {} points", chunks, block->layout.chunkPoints);
}

/// Nothing for records that are stored as they are shown.
Json storedOf(const LasFile& las) {
    if (!las.compatibility) return nullptr;
    return {{"pointFormat", las.storedFormat()}, {"recordLength", las.stored->recordLength()}};
}

Json describe(const LasFile& las) {
    Json fields = Json::array();
    for (const SurveyField& field : fieldsOf(las)) fields.push_back({{"name", field.name}, {"type", field.type}});
    const LasHeader& header = las.header;
    return {{"points", header.pointCount},
            {"version", header.version()},
            {"pointFormat", header.pointFormat},
            {"recordLength", header.recordLength},
            {"stored", storedOf(las)},
            {"compression", compressionOf(las)},
            {"bounds", {{"min", header.minimum}, {"max", header.maximum}}},
            {"crs", escaped(las.crs)},
            {"fields", fields},
            {"vlrs", describe(las.vlrs)},
            {"evlrs", describe(las.evlrs)}};
}

void print(const LasFile& las) {
    const LasHeader& header = las.header;
    fmt::print("{} points, LAS {}, point format {}, {} bytes each\n", header.pointCount, header.version(),
               header.pointFormat, header.recordLength);
    if (las.compatibility)
        fmt::print("stored  as point format {}, {} bytes each, for programs that know LAS 1.3 at most\n",
                   las.storedFormat(), las.stored->recordLength());
    for (std::size_t axis = 0; axis < 3; ++axis)
        fmt::print("{}       {} to {}\n", "XYZ"[axis], header.minimum[axis], header.maximum[axis]);
    fmt::print("packed  {}\n", compressionText(las));
    fmt::print("crs     {}\n", las.crs.empty() ? "not given" : escaped(las.crs));
    fmt::print("vlrs    {}\nevlrs   {}\nfields\n", fmt::join(describe(las.vlrs), ", "),
               fmt::join(describe(las.evlrs), ", "));
    for (const SurveyField& field : fieldsOf(las)) fmt::print("        {:<20} {}\n", field.name, field.type);
}

void run(const GlobalOptions& options, const std::string& path, bool json, Reading reading) {
    const LasFile las = LasFile::open(path, reading);
    if (!options.quiet)
        for (const std::string& warning : las.warnings) printWarning(path + ": " + warning);
    json ? printJson(describe(las)) : print(las);
    requireWhole(las);
}

} // namespace

void addInfo(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command =
        program.add_subcommand("info", "Show what a LAS file says of itself, without reading the points.");
    const auto path = std::make_shared<std::string>();
    command->add_option("FILE", *path, "The survey")->required();
    const auto json = addJsonFlag(*command);
    command->callback([&options, path, json] {
        readingWhatIsSound({*path}, [&](Reading reading) { run(options, *path, *json, reading); });
    });
}

} // namespace corvane
