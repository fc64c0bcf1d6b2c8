// SPDX-License-Identifier: Apache-2.0
#include "Holdfast/StringList.hpp"

namespace Holdfast {

std::string StringList::collapse(std::string_view separator) const {
    std::string joined;
    for (const std::string& text : *this) {
        if (&text != &front()) joined += separator;
        joined += text;
    }
    return joined;
}

} // namespace Holdfast
