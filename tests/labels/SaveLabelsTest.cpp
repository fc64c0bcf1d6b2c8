// SPDX-License-Identifier: Apache-2.0
#include "LookupSupport.hpp"
#include "survey/ClassLookup.hpp"
#include "survey/SurveySaver.hpp"

namespace corvane::test {
namespace {

constexpr std::size_t RecordBytes = 54 + 4096;

Kesh::LabelSet houses() {
    Kesh::LabelSet labels;
    labels[6].name = "Houses";
    return labels;
}

class SaveLabels : public testing::Test {
protected:
    /// Saves the file with labels; its bytes.
    std::string saved(const std::string& path) const {
        const Kesh::LabelSet labels = houses();
        EXPECT_EQ(joined(saveSurvey(corvane::Survey(path), out, {.overwrite = true, .labels = &labels})), "");
        return bytesOf(out);
    }
    std::string saved(const Survey& survey) const {
        survey.write(in);
        return saved(in);
    }

    std::string namesSaved() const {
        std::vector<std::string> warnings;
        const auto labels = readClassLookup(LasFile::open(out), warnings);
        return (labels ? asText(*labels) : "none") + joined(warnings);
    }

    Folder folder;
    std::string in = folder / "in.las", out = folder / "out.las";
};

/// Offsets in the header of what lies behind the VLRs, and the count of these: all that a new VLR may change there.
void blankMovedPlaces(std::string& bytes, const LasHeader& header) {
    std::fill_n(bytes.begin() + 96, 8, '?');
    if (header.versionMinor >= 3) std::fill_n(bytes.begin() + 227, 8, '?');
    if (header.versionMinor >= 4) std::fill_n(bytes.begin() + 235, 8, '?');
}

/// That the second file is the first with one VLR more, behind the others, and nothing else changed.
void expectOneVlrMore(const std::string& before, const std::string& after) {
    const LasFile old = LasFile::open(before), now = LasFile::open(after);
    ASSERT_EQ(now.vlrs.size(), old.vlrs.size() + 1);
    EXPECT_EQ(now.vlrs.back().description, "Classification Lookup");
    EXPECT_EQ(now.warnings.size(), old.warnings.size()) << joined(now.warnings) << joined(old.warnings);
    EXPECT_EQ(now.header.offsetToPoints, old.header.offsetToPoints + RecordBytes);
    const bool waveforms = old.header.waveformStart > 0;
    EXPECT_EQ(now.header.waveformStart, old.header.waveformStart + (waveforms ? RecordBytes : 0));
    EXPECT_EQ(now.header.evlrStart, old.header.evlrStart + (old.header.evlrStart > 0 ? RecordBytes : 0));

    std::string was = bytesOf(before), is = bytesOf(after);
    ASSERT_EQ(is.size(), was.size() + RecordBytes);
    is.erase(now.vlrs.back().payloadOffset - 54, RecordBytes);
    blankMovedPlaces(was, old.header);
    blankMovedPlaces(is, old.header);
    EXPECT_TRUE(is == was) << "first difference at "
                           << std::mismatch(is.begin(), is.end(), was.begin()).first - is.begin();
}

TEST_F(SaveLabels, addAVlrToRealSurveysAndChangeNothingElse) {
    const std::filesystem::path data = CORVANE_TEST_DATA;
    if (!std::filesystem::exists(data)) GTEST_SKIP() << "there is no folder " << data;
    int files = 0;
    for (const auto& file : std::filesystem::directory_iterator(data)) {
        if (file.path().extension() != ".las") continue;
        SCOPED_TRACE(file.path().filename());
        saved(file.path());
        expectOneVlrMore(file.path(), out);
        EXPECT_EQ(namesSaved(), "6=Houses ");
        ++files;
    }
    EXPECT_GT(files, 20);
}

TEST_F(SaveLabels, moveWhatLiesBehindTheVlrs) {
    for (const int version : {0, 2, 3, 4, 5}) {
        SCOPED_TRACE(version);
        const auto minor = static_cast<std::uint8_t>(version);
        Survey survey(minor, minor < 4 ? 1 : 6);
        if (minor != 2) survey.vlr("someone", 77, "payload");
        survey.append(5); // between VLRs and points
        const auto gap = survey.size() - 5;
        for (std::size_t i = 0; i < 5; ++i) survey.put(gap + i, static_cast<char>('a' + i));
        survey.put(96, static_cast<std::uint32_t>(survey.size())).points();
        if (minor >= 3) survey.put<std::uint64_t>(227, survey.size());
        survey.append(9); // waveforms
        if (minor >= 4) survey.evlr("someone", 78, "behind").evlr("someone", 79, "more");
        const std::string bytes = saved(survey);
        expectOneVlrMore(in, out);
        EXPECT_EQ(namesSaved(), "6=Houses ");
        EXPECT_EQ(bytes.substr(gap + RecordBytes, 5), "abcde");
        EXPECT_EQ(bytes.substr(gap, 2), minor == 0 ? "\xbb\xaa" : std::string(2, '\0')) << "how a VLR begins";
    }
}

TEST_F(SaveLabels, leaveWaveformsOfAnotherFileWhereTheyAre) {
    saved(Survey(3, 4).put<std::uint16_t>(6, 4).points().put<std::uint64_t>(227, 5000));
    EXPECT_EQ(LasFile::open(out).header.waveformStart, 5000u);
}

TEST_F(SaveLabels, replaceARecordOfTheSameLength) {
    const std::string old = entry(9, "Lake") + std::string(4080, '\0');
    Survey asVlr, asEvlr;
    asVlr.vlr("a", 1, "x").vlr("LASF_Spec", 0, old).vlr("b", 2, "y").points().evlr("c", 3, "z");
    asEvlr.points().evlr("c", 3, "z").evlr("LASF_Spec", 0, old).evlr("d", 4, "w");
    for (const Survey& survey : {asVlr, asEvlr}) {
        const std::string bytes = saved(survey);
        EXPECT_EQ(namesSaved(), "6=Houses ");
        std::string expected = bytesOf(in);
        const auto place = expected.find(old);
        ASSERT_NE(place, std::string::npos);
        EXPECT_TRUE(bytes == expected.replace(place, old.size(), bytes.substr(place, old.size())));
    }
}

TEST_F(SaveLabels, supersedeRecordsOfOtherLengths) {
    const std::string sparse = entry(9, "Lake");
    saved(Survey().vlr("LASF_Spec", 0, sparse).points().evlr("LASF_Spec", 0, sparse));
    EXPECT_EQ(namesSaved(), "6=Houses ");
    const LasFile las = LasFile::open(out);
    ASSERT_EQ(las.vlrs.size(), 2u);
    const std::string once = bytesOf(out);
    for (const LasRecord& old : {las.vlrs[0], las.evlrs[0]}) {
        EXPECT_EQ(old.recordId, 7) << "superseded";
        EXPECT_EQ(once.substr(old.payloadOffset, old.payloadLength), sparse);
    }
    const Kesh::LabelSet labels = houses();
    saveSurvey(corvane::Survey(out), out, {.overwrite = true, .labels = &labels});
    EXPECT_TRUE(bytesOf(out) == once) << "from then on in place";
}

} // namespace
} // namespace corvane::test
