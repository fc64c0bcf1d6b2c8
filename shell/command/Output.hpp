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
void printCounts(const ClassCounts& before, const ClassCounts& after, const Kesh::LabelSet& names = {});

/// A table of counts and of what part of all they are.
void printCounts(const ClassCounts& counts, const Kesh::LabelSet& names = {});

/// The same of a histogram of this field, with the statistics of its second quantity. The header is the survey's.
void printHistogram(const Kesh::VHistogram& histogram, const std::string& field, const Kesh::LabelSet& names,
                    const LasHeader& header);

/// Prints a finished sentence on standard error.
void printError(const std::string& sentence);

/// The head of a table, bold on a terminal.
void printHead(const std::string& line);

/// Without blanks at its end.
void printLine(std::string line);

/// What was saved, how long that took, and how fast it was.
void printWritten(const std::string& path, std::uint64_t points, std::uint64_t bytes, double seconds);

/// Labels for the values of several counts: those given, over the survey's own, over the standard ones.
Kesh::LabelSet namesOf(const Survey& survey, const Kesh::LabelSet& labels,
                       const std::vector<const ClassCounts*>& counts);

} // namespace corvane
