// SPDX-License-Identifier: Apache-2.0
#include "Kesh/objects/VActionNotifier.hpp"

#include <vector>

namespace Kesh {
namespace {

using Holdfast::StrongPtr;
using Holdfast::WeakPtr;

thread_local std::vector<WeakPtr<VActionNotifier>> notifiers;

/// Those that live; the others are forgotten.
std::vector<StrongPtr<VActionNotifier>> activeNotifiers() {
    std::erase_if(notifiers, [](const auto& notifier) { return !notifier.lock(); });
    std::vector<StrongPtr<VActionNotifier>> active;
    for (const auto& notifier : notifiers) active.push_back(notifier.lock());
    return active;
}

} // namespace

void VActionNotifier::activate(const WeakPtr<VActionNotifier>& notifier) { notifiers.push_back(notifier); }

void VActionNotifier::Warning(const std::string& text) {
    for (const auto& notifier : activeNotifiers()) notifier->warn(text);
}

void VActionNotifier::VObjectCreation(const std::string& objectName) {
    for (const auto& notifier : activeNotifiers()) notifier->objectCreated(objectName);
}

void VActionNotifier::actionTriggered(const std::string& actionName, const ValuePool& pool) {
    for (const auto& notifier : activeNotifiers()) notifier->triggered(actionName, pool);
}

bool VActionNotifier::reportProgress(std::uint64_t done, std::uint64_t total, const std::string& text) {
    bool goOn = true;
    for (const auto& notifier : activeNotifiers()) goOn = notifier->progress(done, total, text) && goOn;
    return goOn;
}

} // namespace Kesh
