// SPDX-License-Identifier: Apache-2.0
#include "json/NearestName.hpp"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <utility>

namespace json {
namespace {

std::string lowered(std::string_view name) {
    std::string text(name);
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

/// How many characters must be put in, taken out or replaced (Levenshtein).
std::size_t distance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i);
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i - 1] != b[j - 1]);
            diagonal = std::exchange(row[j], std::min({row[j] + 1, row[j - 1] + 1, replaced}));
        }
    }
    return row.back();
}

} // namespace

bool sameName(std::string_view a, std::string_view b) { return lowered(a) == lowered(b); }

std::vector<std::string> nearNames(std::string_view wrong, const std::vector<std::string>& known) {
    const std::size_t reach =
        wrong.size() < 4 ? wrong.size() / 2 : std::max<std::size_t>(wrong.size() / 3, 2); // a swap is 2
    const std::string searched = lowered(wrong);
    std::vector<std::string> near;
    for (const std::string& name : known) {
        const auto [shorter, longer] = std::minmax({name.size(), wrong.size()}); // values, not references
        if (longer - shorter <= reach && distance(searched, lowered(name)) <= reach) near.push_back(name);
    }
    return near;
}

} // namespace json
