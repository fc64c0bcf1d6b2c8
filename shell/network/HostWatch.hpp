// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/objects/VActionNotifier.hpp"
#include "base/Watch.hpp"

#include <exception>

namespace corvane {

/// Hands the progress of modules on to a watch, as long as this lives and on the thread that made it; where it wants
/// the work to stop, the modules are told so. The only place where the one is turned into the other.
class HostWatch {
public:
    explicit HostWatch(const Watch& watch) : notifier_(Holdfast::create<Notifier>(watch)) {
        Kesh::VActionNotifier::activate(Holdfast::StrongPtr<Kesh::VActionNotifier>(notifier_));
    }

    /// Whether the watch wanted the work to stop.
    bool interrupted() const { return notifier_->interruption != nullptr; }

    /// Throws what the watch threw, if it did.
    void check() const {
        if (interrupted()) std::rethrow_exception(notifier_->interruption);
    }

private:
    class Notifier : public Kesh::VActionNotifier {
    public:
        explicit Notifier(const Watch& watch) : watch_(watch) {}
        std::exception_ptr interruption;

    private:
        bool progress(std::uint64_t done, std::uint64_t total, const std::string& text) override {
            try {
                watch_(done, total, text);
            } catch (...) {
                interruption = std::current_exception();
            }
            return interruption == nullptr;
        }
        Watch watch_;
    };

    Holdfast::StrongPtr<Notifier> notifier_;
};

} // namespace corvane
