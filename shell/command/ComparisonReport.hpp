// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "check/SurveyComparison.hpp"
#include "json/JsonReader.hpp"

namespace corvane {

Json describe(const SurveyComparison& comparison, const LasFile& before, const LasFile& after);

/// Prints it for people.
void print(const SurveyComparison& comparison, const LasFile& before, const LasFile& after);

} // namespace corvane
