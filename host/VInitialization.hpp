// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

/// The version of the interface between shell and plug-ins. Both sides compile it in.
inline constexpr char CorvInterfaceVersion[] = "CORV_API_VERSION";

/// What plug-ins call when they are loaded and unloaded, and ask whether they fit.
class VInitialization {
public:
    enum Reason { Load = 0, Unload = 1 };

    virtual ~VInitialization() = default;

    /// Whether a plug-in built against that version of the interface can work with this shell.
    virtual bool IsCompatible(const char* version) const;

    /// Called by a plug-in when its static initialisers run (0) and when it is unloaded (1).
    static void initPlugin(int reason, const char* pluginName, const char* version);

    /// Who hears of the calls, one at a time, of whatever thread; at first nobody.
    using Observer = std::function<void(int reason, const std::string& pluginName, const std::string& version)>;
    static void setObserver(Observer observer);
};
