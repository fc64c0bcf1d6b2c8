// SPDX-License-Identifier: Apache-2.0
#include "Kesh/catalogue/VCreatorProperties.hpp"

namespace Kesh {

VCreatorProperties VCreatorProperties::merge(const VCreatorPropertyBase& item) const {
    VCreatorProperties merged = *this;
    if (!item.text.empty()) merged.items_.push_back(item);
    return merged;
}

std::string VCreatorProperties::text(CreatorProperty key) const {
    const auto found = texts(key);
    return found.empty() ? "" : found.front();
}

std::vector<std::string> VCreatorProperties::texts(CreatorProperty key) const {
    std::vector<std::string> found;
    for (const auto& item : items_)
        if (item.key == key) found.push_back(item.text);
    return found;
}

std::string VCreatorProperties::key(std::string_view separator) const {
    return text(CreatorProperty::Category).append(separator).append(text(CreatorProperty::Name));
}

std::string nameFromSourceFile(std::string_view path) {
    const std::size_t slash = path.find_last_of("/\\");
    if (slash != std::string_view::npos) path.remove_prefix(slash + 1);
    return std::string(path.substr(0, path.rfind('.')));
}

} // namespace Kesh
