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
    void disconnect(const std::string& input);
    void removeObject(const std::string& name);
    void set(const std::string& slot, Json value);
    void press(const std::string& slot);
    void draw(const std::string& slot, const Stroke& stroke);

    /// What was done since the last one happens together. Objects, connections and values that were there before the
    /// first one are initial.
    void update();

    /// What was pressed and drawn since the last update did not happen.
    void dropTriggers();

    /// The network file. What the one object has to say is reported before the actions, and the other behind them;
    /// where a name or `save` is empty, nothing is.
    Json asJson(const std::string& survey, const std::string& reportedBefore, const std::string& reportedBehind,
                const std::string& save) const;

    /// The actions from this one on, and what is under way, were taken back. None that was kept may be among them.
    void forgetSince(std::size_t firstAction);

    /// How many actions there were so far.
    std::size_t actions() const { return actions_.size(); }

    /// The network file without a survey of what was not kept yet: the objects, their values and connections as they
    /// were before that, and the actions since then, which led to an edit. Costs as much as there is of these, however
    /// much was done before.
    std::string newText() const;

    /// What was done so far is kept.
    void keep();

private:
    struct Object {
        std::string name, type;
        Json parameters = Json::object();
    };
    struct Connection {
        std::string from, to;
        bool fromAnything;
    };
    /// Done in the order of the members.
    struct Action {
        std::vector<std::string> disconnect, remove;
        std::vector<Object> add;
        std::vector<Connection> connect;
        std::vector<std::pair<std::string, Json>> set;
        std::vector<std::pair<std::string, Stroke>> draw;
        std::vector<std::string> press;

        bool empty() const;
        void forget(const std::string& object);
    };
    struct Structure {
        std::vector<Object> objects;
        std::vector<Connection> connections;

        void change(const Action& action);
        void set(const std::string& slot, Json value);
        void disconnect(const std::string& input);
        void remove(const std::string& object);
    };
    static Json asJson(const Object& object);
    static Json asJson(const Connection& connection);
    static Json asJson(const Action& action);
    template <class Things>
    static Json listOf(const Things& things);

    Structure initial_;
    Structure kept_; // as it was behind what was kept; of the beginning as long as nothing was
    std::size_t keptActions_ = 0;
    std::vector<Action> actions_;
    Action present_;
    bool started_ = false;
};

} // namespace corvane
