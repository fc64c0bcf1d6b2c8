// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "session/WorkbenchState.hpp"
#include "store/EditStore.hpp"

#include <map>
#include <string>
#include <vector>

namespace corvane {

/// Histories as the store keeps them, in words.
class StepLists {
public:
    /// The labels name the classes that were assigned.
    HistoryList of(const EditStore& store, const std::vector<StoredStep>& steps, const Kesh::LabelSet& labels);

private:
    const std::string& wordsFor(const EditStore& store, const StoredStep& step, const Kesh::LabelSet& labels);

    std::map<StepId, std::string> words_; // of steps that were asked for
};

/// What is noted when a survey's file says what the store's present is: where its histories stand.
NamedBytes filePosition(const EditStore& store);

/// Behind which step of a field's history the survey's file stands.
StepId filePositionOf(const EditStore& store, const std::string& field);

/// Of a field or a mask, the oldest first; none of one that the store does not have.
std::vector<StoredStep> stepsOf(const EditStore& store, const std::string& field);

/// How many steps of a field must be done or undone to come from behind that one to the present.
int stepsBehind(const std::vector<StoredStep>& steps, StepId step);

} // namespace corvane
