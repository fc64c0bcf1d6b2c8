// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace corvane::test {

using nlohmann::json;

inline const std::filesystem::path Data = CORVANE_TEST_DATA;

/// Real surveys with facts that were found out without the code under test. Skips where they are not at hand.
template <class Base>
class WithFacts : public Base {
protected:
    void SetUp() override {
        std::ifstream stream(Data / "facts.json");
        if (!stream) GTEST_SKIP() << "the sample surveys are not in " << Data;
        facts = json::parse(stream);
    }

    /// Names of the samples that begin and end so; damaged ones only when asked for.
    std::vector<std::string> named(const std::string& start, const std::string& end) const {
        std::vector<std::string> names;
        for (const auto& [name, of] : facts.items())
            if (name.starts_with("malformed/") == (start == "malformed/") && name.ends_with(end)) names.push_back(name);
        return names;
    }

    json facts;
};

} // namespace corvane::test
