// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/objects/VActionNotifier.hpp"
#include "base/Watch.hpp"

namespace corvane {

/// Hands the progress of modules on to a watch, as long as this lives; where it wants the work to stop, the modules are
/// told so. The only place where the one is turned into the other.
class HostWatch {
public:
    explicit HostWatch(const Watch& watch) : notifier_(Holdfast::create<Notifier>(watch)) {
        Kesh::VActionNotifier::activate(Holdfast::StrongPtr<Kesh::VActionNotifier>(notifier_));
    }

    /// Whether the watch wanted the work to stop.
    bool interrupted() const { return notifier_->interrupted; }

private:
    class Notifier : public Kesh::VActionNotifier {
    public:
        explicit Notifier(const Watch& watch) : watch_(watch) {}
        bool interrupted = false;

    private:
        bool progress(std::uint64_t done, std::uint64_t total, const std::string& text) override {
            try {
                watch_(done, total, text);
            } catch (const Interrupted&) {
                interrupted = true;
            }
            return !interrupted;
        }
        Watch watch_;
    };

    Holdfast::StrongPtr<Notifier> notifier_;
};

} // namespace corvane
