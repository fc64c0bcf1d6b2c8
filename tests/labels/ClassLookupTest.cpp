// SPDX-License-Identifier: Apache-2.0
#include "survey/ClassLookup.hpp"
#include "LookupSupport.hpp"
#include "las/StandardClasses.hpp"
#include "survey/StandardLabels.hpp"

namespace corvane::test {
namespace {

/// What is read of a file, and the warnings behind it.
std::string readFrom(const Survey& survey) {
    std::vector<std::string> warnings;
    const auto labels = readClassLookup(survey.open(), warnings);
    return (labels ? asText(*labels) : "none") + joined(warnings);
}

std::string encoded(const Kesh::LabelSet& labels, std::uint8_t format, std::vector<std::string>& warnings) {
    const auto bytes = encodeClassLookup(labels, format, warnings);
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

Survey withVlr(const std::string& payload, std::uint8_t format = 6) {
    return Survey(4, format).vlr("LASF_Spec", 0, payload).points();
}

TEST(ClassLookup, readsWhatOtherWritersMade) {
    const std::string sparse = entry(6, "House") + entry(2, "Earth");
    EXPECT_EQ(readFrom(withVlr(sparse)), "2=Earth 6=House ");
    EXPECT_EQ(readFrom(Survey().points().evlr("LASF_Spec", 0, sparse)), "2=Earth 6=House ");
    EXPECT_EQ(readFrom(withVlr(entry(9, "123456789012345") + entry(255, "Last  "))), "9=123456789012345 255=Last ");
    EXPECT_EQ(readFrom(withVlr(entry(0, "Mine") + entry(0, "") + entry(0, "   ") + entry(3, ""))), "0=Mine ")
        << "entries without text are unused";
    EXPECT_EQ(readFrom(withVlr(entry(1, std::string("a\0b", 3)))), "1=a ");
    EXPECT_EQ(readFrom(withVlr(entry(1, "V\xe9g\xe9tation") + entry(2, "Gebäude"))), "1=Végétation 2=Gebäude ");
    EXPECT_EQ(readFrom(withVlr(entry(4, "Medium Veget."))), "4=Medium Vegetation ");
    EXPECT_EQ(readFrom(withVlr(entry(2, "Medium Veget."))), "2=Medium Veget. ") << "of another class: somebody's own";
    EXPECT_EQ(readFrom(withVlr(entry(8, "Model Key-Point"), 6)), "8=Model Key-Point ") << "not in this format";
    EXPECT_EQ(readFrom(withVlr(entry(8, "Model Key-Point"), 1)), "8=Model Key-Point (Mass Point) ");
    EXPECT_EQ(readFrom(withVlr("")), "");
    EXPECT_EQ(readFrom(Survey().vlr("LASF_Spec", 1, sparse).vlr("Other", 0, sparse).points()), "none");
}

TEST(ClassLookup, warnsOfWhatIsOdd) {
    const std::string one = entry(2, "Earth");
    const std::string twice = readFrom(withVlr(one + entry(2, "Soil")));
    EXPECT_TRUE(twice.starts_with("2=Earth The Classification Lookup names class 2 twice, \"Earth\" and \"Soil\""))
        << twice;
    const std::string cut = readFrom(withVlr(one + entry(6, "House").substr(0, 15)));
    EXPECT_TRUE(cut.starts_with("2=Earth The Classification Lookup at offset 429 has 31 bytes where 4096 ")) << cut;
    const std::string several = readFrom(withVlr(one).evlr("LASF_Spec", 0, entry(6, "House")));
    EXPECT_TRUE(several.starts_with("2=Earth There are 2 Classification Lookup records")) << several;
    const std::string huge = readFrom(Survey().points().evlr("LASF_Spec", 0, one + std::string(1 << 17, '\0')));
    EXPECT_TRUE(huge.starts_with("2=Earth The Classification Lookup")) << huge;
}

TEST(ClassLookup, isWrittenInTheFormatsOwnShapeWithAllStandardNames) {
    std::set<int> all;
    for (int value = 0; value < 256; ++value) all.insert(value);
    for (const std::uint8_t format : {std::uint8_t{3}, std::uint8_t{6}}) {
        const Kesh::LabelSet labels = standardLabels(all, format);
        std::vector<std::string> warnings;
        const std::string payload = encoded(labels, format, warnings);
        EXPECT_EQ(payload.size(), 256 * 16u);
        EXPECT_EQ(payload.substr(2 * 16, 16), entry(2, "Ground"));
        EXPECT_EQ(readFrom(withVlr(payload, format)), asText(labels));
        EXPECT_EQ(joined(warnings), "");
    }
}

TEST(ClassLookup, saysWhatItCannotKeep) {
    const struct {
        int value;
        const char *name, *read, *warning;
    } cases[] = {{70, "Noise barrier north", "70=Noise barrier n ", "\"Noise barrier north\" of class 70 became"},
                 {71, "12345678901234é", "71=12345678901234 ", "became \"12345678901234\""},
                 {72, "trailing ", "72=trailing ", "became \"trailing\""},
                 {300, "Far", "", "\"Far\" of value 300 was left out"},
                 {-1, "Far", "", "\"Far\" of value -1 was left out"}};
    for (const auto& [value, name, read, warning] : cases) {
        Kesh::LabelSet labels;
        labels[value].name = name;
        std::vector<std::string> warnings;
        EXPECT_EQ(readFrom(withVlr(encoded(labels, 6, warnings))), read);
        ASSERT_EQ(warnings.size(), 1u) << name;
        EXPECT_TRUE(holds(warnings[0], warning)) << warnings[0];
    }
}

} // namespace
} // namespace corvane::test
