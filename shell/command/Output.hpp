// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/LabelSet.hpp"
#include "base/Failure.hpp"
#include "network/Counting.hpp"
#include "json/Document.hpp"

#include <CLI/CLI.hpp>

#include <memory>

namespace corvane {

using Json = json::Value;

/// Adds `--json` to a command. The flag lives as long as somebody holds it.
std::shared_ptr<bool> addJsonFlag(CLI::App& command);

/// Prints on standard output. Bytes in texts that are not UTF-8, and what steers terminals, are escaped.
void printJson(Json json);

/// Value to count, as an object with the values as keys.
Json countsAsJson(const ClassCounts& counts);

/// The histogram's text form with the names that the labels give the values; null without one.
Json histogramAsJson(const Kesh::VHistogram& histogram, const Kesh::LabelSet& labels);

/// A table of the counts before and after, one line per value.
void printCounts(const ClassCounts& before, const ClassCounts& after);

/// A table of counts.
void printCounts(const ClassCounts& counts);

} // namespace corvane
