// SPDX-License-Identifier: Apache-2.0
#include "Holdfast/Attributes.hpp"

namespace Holdfast {

StrongPtr<ChunkBase> Attributes::getAttribute(const std::string& name) const {
    const std::lock_guard lock(mutex_);
    const auto found = chunks_.find(name);
    return found == chunks_.end() ? nullptr : found->second;
}

void Attributes::setAttribute(const std::string& name, const StrongPtr<ChunkBase>& chunk) {
    const std::lock_guard lock(mutex_);
    chunks_[name] = chunk;
}

void Attributes::removeAttribute(const std::string& name, const StrongPtr<ChunkBase>& chunk) {
    const std::lock_guard lock(mutex_);
    const auto found = chunks_.find(name);
    if (found != chunks_.end() && found->second == chunk) chunks_.erase(found);
}

std::vector<std::string> Attributes::names() const {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> names;
    for (const auto& [name, chunk] : chunks_) names.push_back(name);
    return names;
}

} // namespace Holdfast
