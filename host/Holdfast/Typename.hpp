// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <typeinfo>

namespace Holdfast {

/// The readable (demangled) name of a type, for messages and as key of registries.
std::string Typename(const std::type_info& type);

} // namespace Holdfast
