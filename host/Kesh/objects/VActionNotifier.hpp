// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Holdfast/Pointer.hpp"

#include <cstdint>
#include <string>

namespace Kesh {

/// Hears of what happens in the shell. Several may be active at a time; all of them hear everything.
class VActionNotifier : public Holdfast::Managed {
public:
    /// From now on the notifier hears, as long as it lives.
    static void activate(const Holdfast::WeakPtr<VActionNotifier>& notifier);

    static void Warning(const std::string& text);
    static void VObjectCreation(const std::string& objectName);
    static void actionTriggered(const std::string& actionName);

    /// Tells how far a work has come. False when somebody wants it to stop.
    static bool reportProgress(std::uint64_t done, std::uint64_t total, const std::string& text);

protected:
    virtual void warn(const std::string& /*text*/) {}
    virtual void objectCreated(const std::string& /*objectName*/) {}
    virtual void triggered(const std::string& /*actionName*/) {}
    virtual bool progress(std::uint64_t /*done*/, std::uint64_t /*total*/, const std::string& /*text*/) { return true; }
};

} // namespace Kesh
