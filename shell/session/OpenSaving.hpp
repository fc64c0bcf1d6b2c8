// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/FileRuns.hpp"
#include "session/IdentityOf.hpp"
#include "store/EditStore.hpp"

#include <memory>
#include <optional>

namespace corvane {

/// What a store notes before a survey's file is written to, and until that is complete: whoever finds it knows what the
/// file may be.
struct OpenSaving {
    /// What is being written into the file, of which any part may be there. What came before it is there, what comes
    /// after it is not. Null: the file is being replaced.
    std::shared_ptr<const FileRuns> runs{};

    /// Size and checksum of the file that takes the place of the survey's; of the survey's with the runs in it where
    /// they change its head, by which it is known. None: the head stays as it is.
    std::optional<SurveyIdentity> becomes{};

    bool begun = true; ///< something was written into the file that is to be replaced

    /// Whether a file with this identity is the one that was to take the place.
    bool mayHaveMade(const SurveyIdentity& file) const;

    /// Whether the file is the one with this identity into which the runs are being written, however many of them are
    /// in it.
    bool isWritingTo(const LasFile& las, const SurveyIdentity& known) const;

    /// As the store keeps it.
    NamedBytes entry() const;
};

/// What removes the note.
NamedBytes noOpenSaving();

/// None when no saving is open. Throws Failure when the note cannot be read.
std::optional<OpenSaving> findOpenSaving(const EditStore& store);

} // namespace corvane
