// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "network/Stroke.hpp"

#include <nlohmann/json.hpp>

#include <string>
#include <utility>
#include <vector>

namespace corvane {

/// What was done with a network, in the order in which it was: how it can be written as a network file.
class NetworkRecord {
public:
    using Json = nlohmann::ordered_json;

    void addObject(const std::string& name, const std::string& type);
    void connect(const std::string& from, const std::string& to, bool fromAnything);
    void set(const std::string& slot, Json value);
    void press(const std::string& slot);
    void draw(const std::string& slot, const Stroke& stroke);

    /// What was done since the last one happens together. Values that were set before the first one are initial.
    void update();

    /// The network file. What the one object has to say is reported before the actions, and the other behind them;
    /// where a name or `save` is empty, nothing is.
    Json asJson(const std::string& survey, const std::string& reportedBefore, const std::string& reportedBehind,
                const std::string& save) const;

    /// How many actions there were so far.
    std::size_t actions() const { return actions_.size(); }

    /// The network file without a survey, with the actions from this one on: what led to an edit.
    std::string textSince(std::size_t firstAction) const;

private:
    struct Object {
        std::string name, type;
        Json parameters = Json::object();
    };
    struct Connection {
        std::string from, to;
        bool fromAnything;
    };
    struct Action {
        std::vector<std::pair<std::string, Json>> set;
        std::vector<std::pair<std::string, Stroke>> draw;
        std::vector<std::string> press;
        bool empty() const { return set.empty() && draw.empty() && press.empty(); }
    };
    static Json asJson(const Action& action);
    Json objectsAsJson() const;
    Json connectionsAsJson() const;

    std::vector<Object> objects_;
    std::vector<Connection> connections_;
    std::vector<Action> actions_;
    Action present_;
    bool started_ = false;
};

} // namespace corvane
