// SPDX-License-Identifier: Apache-2.0
#include "Kesh/values/Enum.hpp"

namespace Kesh {

void VEnumSelection::select(int number) {
    if (number >= 0 && number < static_cast<int>(cases_.size())) selected_ = number;
}

const std::string& VEnumSelection::operator[](int n) const {
    static const std::string none;
    return n >= 0 && n < static_cast<int>(cases_.size()) ? cases_[static_cast<std::size_t>(n)] : none;
}

} // namespace Kesh
