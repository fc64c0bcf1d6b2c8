// SPDX-License-Identifier: Apache-2.0
#include "Kesh/values/Limit.hpp"

#include "json/Reader.hpp"

#include <atomic>

namespace Kesh {
namespace {

std::atomic<Limit::Maker>& registered() {
    static std::atomic<Limit::Maker> maker = nullptr;
    return maker;
}

} // namespace

bool Limit::registerMaker(Maker maker) {
    registered() = maker;
    return true;
}

LimitPtr Limit::read(const json::Reader& text) {
    const Maker maker = registered();
    if (!maker) text.fail("nothing here can read a limit");
    return maker(text);
}

} // namespace Kesh
