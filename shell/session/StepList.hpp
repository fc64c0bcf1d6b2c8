// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "session/WorkbenchState.hpp"
#include "store/EditStore.hpp"

#include <map>
#include <string>

namespace corvane {

/// Histories as the store keeps them, in words.
class StepLists {
public:
    /// Of a field or a mask. The labels name the classes that were assigned.
    HistoryList of(const EditStore& store, const std::string& field, const Kesh::LabelSet& labels);

private:
    const std::string& wordsFor(const EditStore& store, const StoredStep& step, const Kesh::LabelSet& labels);

    std::map<StepId, std::string> words_; // of steps that were asked for
};

/// What is noted when a survey's file says what the store's present is: where its histories stand.
NamedBytes filePosition(const EditStore& store);

/// Behind which step of a field's history the survey's file stands.
StepId filePositionOf(const EditStore& store, const std::string& field);

/// How many steps must be done or undone to come from there to the present.
int stepsBehind(const EditStore& store, const std::string& field, StepId step);

} // namespace corvane
