// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Holdfast {

class StringList : public std::vector<std::string> {
public:
    using std::vector<std::string>::vector;

    /// The strings in one, with the separator between them.
    std::string collapse(std::string_view separator) const;
};

} // namespace Holdfast
