// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/objects/ValuePool.hpp"

#include <cstdint>
#include <string>

namespace Kesh {

/// Hears of what happens in the shell on one thread: what a network does on its thread concerns nobody on another, who
/// would have to lock, and stops with its own progress only. Several may be active at a time; all of them hear
/// everything of their thread.
class VActionNotifier : public Holdfast::Managed {
public:
    /// From now on the notifier hears what happens on the thread that calls this, as long as it lives.
    static void activate(const Holdfast::WeakPtr<VActionNotifier>& notifier);

    static void Warning(const std::string& text);
    static void VObjectCreation(const std::string& objectName);
    static void actionTriggered(const std::string& actionName, const ValuePool& pool);

    /// Tells how far a work has come. False when somebody wants it to stop.
    static bool reportProgress(std::uint64_t done, std::uint64_t total, const std::string& text);

protected:
    virtual void warn(const std::string& /*text*/) {}
    virtual void objectCreated(const std::string& /*objectName*/) {}
    virtual void triggered(const std::string& /*actionName*/, const ValuePool& /*pool*/) {}
    virtual bool progress(std::uint64_t /*done*/, std::uint64_t /*total*/, const std::string& /*text*/) { return true; }
};

} // namespace Kesh
