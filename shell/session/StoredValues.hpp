// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/CreativeArray.hpp"
#include "store/EditStore.hpp"

#include <atomic>
#include <memory>
#include <string>

namespace corvane {

/// What the versions of one fragment of a field are made from.
struct StoredFragment {
    std::shared_ptr<const EditStore> store;
    std::string field;
    std::uint32_t number = 0;
    Holdfast::StrongPtr<Fiber::CreativeArrayBase> original; ///< the survey's, or the zeros of a mask
    bool isZero = false;                                    ///< the original is known to be zeros
    std::shared_ptr<const std::atomic<bool>> halfSaved;     ///< whether the original may be the present in part
};

/// Makes the values that the fragment has behind a step. Its values are unsigned integers of 8 or 16 bits.
Holdfast::StrongPtr<Fiber::ArraySource> sourceOf(const StoredFragment& fragment, StepId afterStep);

/// An array of such values, looked after by the original's cache.
Holdfast::StrongPtr<Fiber::CreativeArrayBase> arrayOf(const StoredFragment& fragment, StepId afterStep);

} // namespace corvane
