// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/Watch.hpp"
#include "las/LasFile.hpp"

#include <string>
#include <vector>

namespace corvane {

/// Throws NotClean when something of the survey was not read, for a command that has printed what it found in the rest.
void requireWhole(const LasFile& las);

/// Whether a survey is damaged in a way that leaves sound parts.
bool hasSoundParts(const std::string& path);

/// Does `job(reading)`, which opens these surveys: wholly at first, and when that fails since one is damaged, with what
/// is sound of them. The job prints nothing before it has read all that it needs.
template <class Job>
void readingWhatIsSound(const std::vector<std::string>& paths, Job job) {
    try {
        return job(Reading::Whole);
    } catch (const UsageError&) {
        throw;
    } catch (const NotClean&) {
        throw;
    } catch (const Interrupted&) {
        throw;
    } catch (const Failure&) {
        bool any = false;
        for (const std::string& path : paths) any = any || hasSoundParts(path);
        if (!any) throw;
    }
    job(Reading::Sound);
}

} // namespace corvane
