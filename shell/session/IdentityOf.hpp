// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/FileRuns.hpp"
#include "las/LasFile.hpp"
#include "store/StoreRecords.hpp"

namespace corvane {

/// What a survey is known by: size, time, and a checksum of header, records and the table of chunks; as if these bytes
/// were in it, too.
SurveyIdentity identityOf(const LasFile& las, const FileRuns& runs = {});

/// Whether both are known by the same size and head; the time changes when a file is copied.
bool sameHead(const SurveyIdentity& a, const SurveyIdentity& b);

} // namespace corvane
