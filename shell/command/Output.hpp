// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/LabelSet.hpp"
#include "network/Counting.hpp"
#include "json/JsonReader.hpp"

#include <CLI/CLI.hpp>

#include <memory>

namespace corvane {

/// Adds `--json` to a command. The flag lives as long as somebody holds it.
std::shared_ptr<bool> addJsonFlag(CLI::App& command);

/// Prints on standard output. Bytes in texts that are not UTF-8, as files may hold, are replaced.
void printJson(const Json& json);

/// Value to count, as an object with the values as keys.
Json countsAsJson(const ClassCounts& counts);

/// The histogram's text form with the names that the labels give the values; null without one.
Json histogramAsJson(const Kesh::VHistogram& histogram, const Kesh::LabelSet& labels);

/// A table of the counts before and after, one line per value.
void printCounts(const ClassCounts& before, const ClassCounts& after);

/// A table of counts.
void printCounts(const ClassCounts& counts);

} // namespace corvane
