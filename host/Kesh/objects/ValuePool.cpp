// SPDX-License-Identifier: Apache-2.0
#include "Kesh/objects/ValuePool.hpp"

#include <atomic>

namespace Kesh {

std::uint64_t ValuePool::nextIdentifier() {
    static std::atomic<std::uint64_t> last{0};
    return ++last;
}

void ValuePool::createVariable(const std::string& name, const Holdfast::StrongPtr<VValueBase>& value) {
    variables_[name] = value;
}

Holdfast::StrongPtr<VValueBase> ValuePool::retrieveValue(const std::string& name) const {
    const auto found = variables_.find(name);
    return found == variables_.end() ? nullptr : found->second;
}

void ValuePool::removeVariable(const std::string& name) { variables_.erase(name); }

} // namespace Kesh
