// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "plot/BarChart.hpp"

#include <string>
#include <vector>

namespace corvane {

/// What the ending of the file's name says. Throws UsageError when it names no format of pictures.
PictureFormat formatOf(const std::string& path);

/// Throws UsageError when the file's ending names no format, Failure when the library that draws is not there.
void checkCanPlot(const std::string& path);

/// A function of the library that draws, by name. The library stays loaded: what it stands on cannot be unloaded.
/// Throws Failure.
void* drawingFunction(const char* name);

/// Writes a picture into a file. Returns what was lost of a file that it replaces: sentences.
std::vector<std::string> writePicture(const std::string& picture, const std::string& path, bool overwrite);

} // namespace corvane
