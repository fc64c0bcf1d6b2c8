// SPDX-License-Identifier: Apache-2.0
#include "Holdfast/Profiler.hpp"

#include <mutex>

namespace Holdfast {
namespace {

struct Listener {
    std::mutex mutex;
    Profiler::Sink sink;
};

Listener& listener() {
    static Listener instance;
    return instance;
}

} // namespace

Profiler::~Profiler() {
    const auto taken = Clock::now() - begin_;
    const std::lock_guard lock(listener().mutex);
    if (listener().sink) listener().sink(section_, taken);
}

void Profiler::setSink(Sink sink) {
    const std::lock_guard lock(listener().mutex);
    listener().sink = std::move(sink);
}

} // namespace Holdfast
