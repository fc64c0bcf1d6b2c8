// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "check/SurveyComparison.hpp"
#include "json/Document.hpp"

namespace corvane {

using Json = json::Value;

Json describe(const SurveyComparison& comparison, const LasFile& before, const LasFile& after);

/// Prints it for people.
void print(const SurveyComparison& comparison, const LasFile& before, const LasFile& after);

} // namespace corvane
