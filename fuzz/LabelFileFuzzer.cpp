// SPDX-License-Identifier: Apache-2.0
// Any bytes as a file of labels. What can be read is written and read again as the same, and anything else is a
// sentence that names the file.
#include "MemoryFile.hpp"
#include "base/Failure.hpp"
#include "survey/LabelFile.hpp"

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>

namespace {

using namespace corvane;
using fuzz::require;

std::string textOf(const Kesh::LabelSet& labels) { return Kesh::VValueTrait<Kesh::LabelSet>::Text(labels); }

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const fuzz::MemoryFile file;
    static const std::string written =
        std::filesystem::temp_directory_path() / fmt::format("corvane.fuzz.{}.json", getpid());
    file.hold(std::as_bytes(std::span(data, size)));
    try {
        const Kesh::LabelSet labels = loadLabels(file.path);
        saveLabels(labels, written, true);
        require(textOf(loadLabels(written)) == textOf(labels));
        Kesh::LabelSet again;
        Kesh::VValueTrait<Kesh::LabelSet>::setValueFromText(again, textOf(labels));
        require(textOf(again) == textOf(labels));
    } catch (const Failure& failure) {
        require(std::string_view(failure.what()).starts_with(file.path));
    }
    return 0;
}
