// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "check/SurveyComparison.hpp"
#include "json/Document.hpp"

namespace corvane {

using Json = json::Value;

Json describe(const SurveyComparison& comparison, const LasFile& before, const LasFile& after);

/// Prints it for people.
void print(const SurveyComparison& comparison, const LasFile& before, const LasFile& after);

/// The sums of many pairs of surveys; `same` of them do not differ. `alone`: sentences about surveys without a partner.
Json describe(const std::string& field, const Transitions& transitions, std::size_t pairs, std::size_t same,
              const std::vector<std::string>& alone);
void printSums(const std::string& field, const Transitions& transitions, std::size_t pairs, std::size_t same);

} // namespace corvane
