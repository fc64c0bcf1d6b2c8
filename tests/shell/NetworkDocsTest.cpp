// SPDX-License-Identifier: Apache-2.0
// Every example of the documentation of network files runs.
#include "ProgramTestSupport.hpp"

namespace corvane::test {
namespace {

class NetworkDocs : public Program {
protected:
    void SetUp() override {
        Program::SetUp();
        std::filesystem::rename(in, folder / "tile.las");
        write(folder / "labels.json", R"({"labels": [{"value": 2, "name": "Ground"}]})");
        write(folder / "ditch.geojson", R"({"type": "Polygon", "coordinates": [[[0, 0], [9, 0], [9, 9], [0, 0]]]})");
    }

    /// The blocks of JSON of the document, in its order.
    static std::vector<json> examples() {
        const std::string text = bytesOf(CORVANE_DOCS "/network.md"), open = "```json\n", close = "\n```";
        std::vector<json> found;
        for (std::size_t at = text.find(open); at != text.npos; at = text.find(open, at)) {
            const std::size_t begin = at + open.size();
            at = text.find(close, begin);
            found.push_back(json::parse(text.substr(begin, at - begin)));
        }
        return found;
    }

    Outcome runHere(const json& network) const {
        write(folder / "net.json", network.dump());
        return execute("/bin/sh",
                       {"-c", "cd \"$1\" && exec \"$2\" run net.json --overwrite", "sh", folder / "", CORVANE_PROGRAM});
    }
};

/// An action is run at the end of the network that stands before it.
TEST_F(NetworkDocs, examplesRunAsTheyStand) {
    json network;
    int actions = 0;
    for (const json& example : examples()) {
        SCOPED_TRACE(example.dump());
        json whole = example.contains("objects") ? example : network;
        if (example.contains("objects")) {
            network = example;
        } else {
            whole["actions"].push_back(example);
            ++actions;
        }
        const Outcome run = runHere(whole);
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_FALSE(holds(run.err, "note: ")) << run.err;
    }
    EXPECT_GT(actions, 15);
}

} // namespace
} // namespace corvane::test
