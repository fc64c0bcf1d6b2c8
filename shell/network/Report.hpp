// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "network/Counting.hpp"
#include "network/Network.hpp"

#include <optional>
#include <string>

namespace corvane {

/// What is to be said of an object of a network.
struct Report {
    std::string object;
    Kesh::Status status;
    std::string field;
    ClassCounts counts;
    std::optional<std::uint64_t> selected;     ///< points in the mask that the object selects into
    std::optional<Kesh::VHistogram> histogram; ///< of an object that counts; the counts are its own
    bool clean = true;                         ///< the counts are whole and up to date
};

/// Counts what an object works on; of one that counts, what it has counted.
Report reportOf(const Network& network, const std::string& object);

} // namespace corvane
