// SPDX-License-Identifier: Apache-2.0
#include "Holdfast/Typename.hpp"

#include <cstdlib>
#include <cxxabi.h>
#include <memory>

namespace Holdfast {

std::string Typename(const std::type_info& type) {
    int status = 0;
    const std::unique_ptr<char, void (*)(void*)> name(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                      std::free);
    return status == 0 ? name.get() : type.name();
}

} // namespace Holdfast
