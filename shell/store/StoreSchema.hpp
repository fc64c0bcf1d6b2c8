// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "store/Sqlite.hpp"
#include "store/StoreRecords.hpp"

#include <string>

namespace corvane {

/// What the tables of a store look like: docs/edit-store.md describes them.
namespace schema {

constexpr int ApplicationId = 0x43764564; ///< "CvEd"
constexpr int Version = 1;

/// Makes a file with the tables and the row of the survey, whole and synced when this returns.
void create(const std::string& path, const SurveyIdentity& survey);

/// Throws Failure unless the file is a store whose tables are those of this version, and nothing else. One of an older
/// version is brought up to date first, in one transaction, when it may be written.
void check(Sqlite& database, bool mayWrite);

} // namespace schema

/// The row of the survey: its identity, and how much there must be of what only names lead to.
struct SurveyRow {
    SurveyIdentity identity;
    std::int64_t fields = 0, entries = 0;
    StepId lastStep = 0;
    UpdateId lastUpdate = 0;

    void put(Sqlite& database) const;
};

} // namespace corvane
