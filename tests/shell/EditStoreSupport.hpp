// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ProgramTestSupport.hpp"

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace corvane::test {

namespace fs = std::filesystem;

/// Each call is a process of its own, so what one leaves is what the next finds.
class EditStore : public Program {
protected:
    using Classes = std::vector<int>;

    static Classes classesOf(const RawPoints& points) {
        Classes classes;
        for (std::uint64_t i = 0; i < points.count(); ++i) classes.push_back(points.classOf(i));
        return classes;
    }

    static json countsOf(const Classes& classes) {
        std::map<int, std::uint64_t> counts;
        for (const int value : classes) ++counts[value];
        json document = json::object();
        for (const auto& [value, count] : counts) document[std::to_string(value)] = count;
        return document;
    }

    json countsOf(const std::string& survey, const Arguments& more = {}) const {
        json counts = json::object();
        const json document = corvane(Arguments{"histogram", survey, "--json"} + more).document();
        for (const json& entry : document["values"])
            if (entry["count"] != 0) counts[std::to_string(entry["value"].get<int>())] = entry["count"];
        return counts;
    }

    /// The survey with its edits, as a file.
    RawPoints saved(const std::string& survey) const {
        const Outcome run = corvane({"save", survey, out, "--overwrite"});
        EXPECT_EQ(run.status, 0) << run.err;
        return RawPoints(bytesOf(out));
    }

    std::size_t doneSteps(const std::string& survey) const {
        std::size_t done = 0;
        if (!fs::exists(survey + ".edits")) return done;
        const json history = corvane({"history", survey, "--json"}).document()["history"];
        for (const json& entry : history) done += entry["done"] == true;
        return done;
    }

    void edit(const Arguments& call, const std::string& survey) const {
        const Outcome run = corvane(Arguments{"edit", survey} + call);
        EXPECT_EQ(run.status, 0) << run.err;
    }

    /// A network that selects what is in class 2 and of the first return, or applies what is selected to class 9.
    std::string network(const std::string& action) const {
        const std::string path = folder / "network.json";
        write(path, R"({"objects": [{"name": "points", "type": "Field", "parameters": {"name": "Classification"}},
            {"name": "lasso", "type": "Brush"},
            {"name": "editor", "type": "Edit/MaskedLabels", "parameters": {"labels": {"labels": [
                {"value": 2, "flags": {"editable": true}}, {"value": 9, "flags": {"editable": true}}],
                "selections": {"Assign": 9}}}}],
            "connections": [{"from": "points.field", "to": "editor.labelfield"},
                {"from": "lasso.brush", "to": "editor.brush"}], "actions": [)" +
                        action + "]}");
        return path;
    }
    static constexpr char Select[] = R"({"draw": {"lasso.brush": {"limit": {"where": "ReturnNumber == 1"}}}})";
    static constexpr char Apply[] = R"({"press": "editor.applySelection"})";
};

} // namespace corvane::test
