// SPDX-License-Identifier: Apache-2.0
#include "VInitialization.hpp"

#include <cstring>

namespace {

VInitialization::Observer& observer() {
    static VInitialization::Observer instance;
    return instance;
}

} // namespace

bool VInitialization::IsCompatible(const char* version) const {
    return std::strcmp(version, CorvInterfaceVersion) == 0;
}

void VInitialization::initPlugin(int reason, const char* pluginName, const char* version) {
    if (observer()) observer()(reason, pluginName, version);
}

void VInitialization::setObserver(Observer newObserver) { observer() = std::move(newObserver); }
