// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "session/WorkbenchState.hpp"
#include "store/EditStore.hpp"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace corvane {

/// Histories as one store keeps them, in words. Those of a step are made once: there may be ten thousand.
class StepLists {
public:
    /// Of a field or a mask. The labels name the classes that were assigned.
    HistoryList of(const EditStore& store, const std::string& field, const Kesh::LabelSet& labels);

private:
    struct Known {
        std::vector<StepMark> marks;
        std::shared_ptr<const HistoryList::Steps> steps = std::make_shared<const HistoryList::Steps>();
    };
    std::map<std::string, Known> known_; // as they were the last time
};

/// What is noted when a survey's file says what the store's present is: where its histories stand.
NamedBytes filePosition(const EditStore& store);

/// Behind which step of a field's history the survey's file stands.
StepId filePositionOf(const EditStore& store, const std::string& field);

/// Of a field or a mask, the oldest first; none of one that the store does not have.
std::vector<StepMark> marksOf(const EditStore& store, const std::string& field);

/// How many steps of a field must be done or undone to come from behind that one to the present.
int stepsBehind(const std::vector<StepMark>& steps, StepId step);

} // namespace corvane
