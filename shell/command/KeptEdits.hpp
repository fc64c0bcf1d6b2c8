// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "command/CommandSession.hpp"
#include "store/EditStore.hpp"

#include <string>

namespace corvane {

/// Throws Failure when no edits are kept of a survey.
void requireEdits(const GlobalOptions& options, const std::string& survey);

/// Completes a saving of a survey if its store says that one is open, and says so. Throws Failure when the store cannot
/// be written, or is of another survey.
void completeOpenSaving(const GlobalOptions& options, const std::string& survey);

/// The edit store of a survey; to write, an open saving is completed first. Throws Failure when there is none, or it is
/// of another survey.
EditStore openEdits(const GlobalOptions& options, const std::string& survey, EditStore::Access access);

} // namespace corvane
