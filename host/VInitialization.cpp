// SPDX-License-Identifier: Apache-2.0
#include "VInitialization.hpp"

#include <cstring>
#include <mutex>

namespace {

struct Listener {
    std::mutex mutex;
    VInitialization::Observer observer;
};

Listener& listener() {
    static Listener instance;
    return instance;
}

} // namespace

bool VInitialization::IsCompatible(const char* version) const {
    return std::strcmp(version, CorvInterfaceVersion) == 0;
}

void VInitialization::initPlugin(int reason, const char* pluginName, const char* version) {
    const std::lock_guard lock(listener().mutex);
    if (listener().observer) listener().observer(reason, pluginName, version);
}

void VInitialization::setObserver(Observer observer) {
    const std::lock_guard lock(listener().mutex);
    listener().observer = std::move(observer);
}
