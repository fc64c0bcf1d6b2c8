// SPDX-License-Identifier: Apache-2.0
// Texts of polygons, WKT and GeoJSON, and of coordinate systems. Whatever they hold ends in polygons that can be
// printed and read again, or in one sentence.
#include "MemoryFile.hpp"
#include "base/Failure.hpp"
#include "las/CrsText.hpp"
#include "polygon/PolygonReader.hpp"

#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>

namespace {

using namespace corvane;
using fuzz::require;

void checkSentence(const std::string& sentence) {
    require(!sentence.empty() && (sentence.back() == '.' || sentence.back() == '?'));
}

void check(const PolygonSet& set) {
    require(!set.rings.empty() && set.minimum.x <= set.maximum.x && set.minimum.y <= set.maximum.y);
    for (const Ring& ring : set.rings) {
        require(ring.size() >= 3);
        for (const auto [x, y] : ring) require(std::isfinite(x) && std::isfinite(y));
    }
}

/// The union is valid polygons itself.
void checkPrinted(const PolygonSet& set) {
    PolygonReader reader;
    reader.addText(set.wkt, "the union");
    require(!reader.take().features.empty());
}

void readPolygonText(std::string_view text, bool repair, const std::string& attribute) {
    try {
        PolygonReader reader(repair, attribute);
        reader.addText(text, "text");
        const GivenPolygons given = reader.take();
        for (const std::string& notice : given.notices) checkSentence(notice);
        for (const GivenFeature& feature : given.features)
            require(!feature.polygons.empty() && (attribute.empty() || feature.value.has_value()));
        std::vector<Rings> all;
        for (const GivenFeature& feature : given.features)
            all.insert(all.end(), feature.polygons.begin(), feature.polygons.end());
        const PolygonSet set = unitePolygons(all);
        check(set);
        checkPrinted(set);
    } catch (const Failure& failure) {
        checkSentence(failure.what());
    }
}

} // namespace

/// The first byte says how the rest is read.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
    if (data[0] & 4) {
        const CrsLabel label = crsLabel(text);
        require(label.text().size() <= text.size() + 20 && horizontalPart(text).size() <= text.size());
        return 0;
    }
    readPolygonText(text, data[0] & 1, data[0] & 2 ? "class" : "");
    return 0;
}
