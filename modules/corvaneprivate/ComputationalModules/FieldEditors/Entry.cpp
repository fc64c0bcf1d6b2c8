// SPDX-License-Identifier: Apache-2.0
// The plug-in's entry: the notifications at loading and unloading, and the question whether it fits the shell.
#include "VInitialization.hpp"

#include <dlfcn.h>
#include <omp.h>

namespace {

constexpr char PluginName[] = "CorvanePrivateFieldEditors";

struct Notification {
    Notification() { VInitialization::initPlugin(VInitialization::Load, PluginName, CorvInterfaceVersion); }
    ~Notification() { VInitialization::initPlugin(VInitialization::Unload, PluginName, CorvInterfaceVersion); }
};

const Notification notification;

/// The threads of OpenMP's runtime outlive the plug-in that started them, so that the runtime must not go with it.
struct RuntimeThatStays {
    RuntimeThatStays() {
        Dl_info runtime;
        if (dladdr(reinterpret_cast<void*>(&omp_get_num_threads), &runtime) != 0)
            dlopen(runtime.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
    }
};

const RuntimeThatStays runtime;

} // namespace

/// The name says which shell this was built for: another one does not find it. Returns what the shell says.
extern "C" __attribute__((visibility("default"))) bool
CORV_API_2026_SEP_07__CorvanePrivateFieldEditors(VInitialization* shell) {
    return shell->IsCompatible(CorvInterfaceVersion);
}
