// SPDX-License-Identifier: Apache-2.0
// The plug-in's entry: the notifications at loading and unloading, and the question whether it fits the shell.
#include "VInitialization.hpp"

namespace {

constexpr char PluginName[] = "CorvanePrivateFieldEditors";

struct Notification {
    Notification() { VInitialization::initPlugin(VInitialization::Load, PluginName, CorvInterfaceVersion); }
    ~Notification() { VInitialization::initPlugin(VInitialization::Unload, PluginName, CorvInterfaceVersion); }
};

const Notification notification;

} // namespace

/// The name says which shell this was built for: another one does not find it. Returns what the shell says.
extern "C" __attribute__((visibility("default"))) bool
CORV_API_2026_SEP_07__CorvanePrivateFieldEditors(VInitialization* shell) {
    return shell->IsCompatible(CorvInterfaceVersion);
}
