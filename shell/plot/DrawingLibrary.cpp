// SPDX-License-Identifier: Apache-2.0
#include "plot/DrawingLibrary.hpp"

#include "base/Failure.hpp"
#include "base/OutputFile.hpp"
#include "plugin/FindLibrary.hpp"

#include <dlfcn.h>
#include <filesystem>
#include <fmt/format.h>
#include <span>

namespace corvane {
namespace {

std::string findDrawingLibrary() {
    return findLibrary("CorvanePlot.so", "The library that draws pictures",
                       "Build or install all of Corvane, or leave out the picture.");
}

} // namespace

PictureFormat formatOf(const std::string& path) {
    std::string ending = std::filesystem::path(path).extension();
    for (char& c : ending) c = 'A' <= c && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    if (ending == ".svg") return PictureFormat::Svg;
    if (ending == ".png") return PictureFormat::Png;
    throw UsageError(fmt::format("{}: pictures are drawn as SVG or PNG; give the file the ending .svg or .png.", path));
}

void checkCanPlot(const std::string& path) {
    formatOf(path);
    findDrawingLibrary();
}

void* drawingFunction(const char* name) {
    const std::string path = findDrawingLibrary();
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library) throw Failure(fmt::format("{}: cannot be loaded, so no picture can be drawn: {}.", path, dlerror()));
    if (void* entry = dlsym(library, name)) return entry;
    throw Failure(fmt::format(
        "{}: belongs to another version of this program, since it has no \"{}\"; build both together.", path, name));
}

std::vector<std::string> writePicture(const std::string& picture, const std::string& path, bool overwrite) {
    OutputFile file(path, overwrite);
    file.write(std::as_bytes(std::span(picture)));
    return file.commit();
}

} // namespace corvane
