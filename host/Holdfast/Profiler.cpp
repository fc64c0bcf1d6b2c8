// SPDX-License-Identifier: Apache-2.0
#include "Holdfast/Profiler.hpp"

namespace Holdfast {
namespace {

Profiler::Sink& sink() {
    static Profiler::Sink instance;
    return instance;
}

} // namespace

Profiler::~Profiler() {
    if (sink()) sink()(section_, Clock::now() - begin_);
}

void Profiler::setSink(Sink listener) { sink() = std::move(listener); }

} // namespace Holdfast
