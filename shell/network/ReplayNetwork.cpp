// SPDX-License-Identifier: Apache-2.0
#include "network/ReplayNetwork.hpp"

#include "base/Failure.hpp"

#include <fmt/format.h>

#include <map>
#include <optional>
#include <set>
#include <string>

namespace corvane {
namespace {

using Json = json::Value;

/// The names of an update's objects, as they are called in the whole network.
class Renaming {
public:
    Renaming(const Json& objects, std::set<std::string>& taken) : taken_(taken) {
        for (const Json& object : objects) add(object.at("name"));
    }

    std::string object(const std::string& name) const {
        const auto known = names_.find(name);
        return known == names_.end() ? name : known->second;
    }

    /// "object.slot", or an object alone.
    std::string slot(const std::string& path) const {
        const std::size_t dot = path.find('.');
        return dot == path.npos ? object(path) : object(path.substr(0, dot)) + path.substr(dot);
    }

    Json connection(Json connection) const {
        for (const char* end : {"from", "to"}) connection[end] = slot(connection.at(end));
        return connection;
    }

    Json action(const Json& action) {
        Json renamed = Json::object();
        for (const auto& [verb, what] : action.items())
            if (verb == "add" || verb == "connect")
                for (const Json& one : what) renamed[verb].push_back(verb == "add" ? added(one) : connection(one));
            else
                renamed[verb] = paths(what);
        return renamed;
    }

private:
    void add(const std::string& name) {
        std::string unique = name;
        for (int number = 2; !taken_.insert(unique).second; ++number) unique = fmt::format("{}{}", name, number);
        names_[name] = unique;
    }

    Json added(Json object) {
        add(object.at("name"));
        object["name"] = names_.at(object.at("name"));
        return object;
    }

    /// The keys of an object, or a text, or a list of texts.
    Json paths(const Json& what) const {
        if (what.is_string()) return slot(what.get<std::string>());
        Json renamed = what.is_array() ? Json::array() : Json::object();
        if (what.is_array())
            for (const Json& one : what) renamed.push_back(slot(one.get<std::string>()));
        else
            for (const auto& [path, value] : what.items()) renamed[slot(path)] = value;
        return renamed;
    }

    std::set<std::string>& taken_; // names in the whole network
    std::map<std::string, std::string> names_;
};

} // namespace

Json replayNetwork(const std::vector<Json>& updates) {
    Json network{{"objects", Json::array()}, {"connections", Json::array()}, {"actions", Json::array()}};
    std::set<std::string> taken;
    Json present; // objects and connections of the last update
    std::optional<Renaming> renaming;
    try {
        for (const Json& update : updates) {
            const Json objects{update.at("objects"), update.at("connections")};
            if (objects != present) {
                renaming.emplace(objects[0], taken);
                for (Json object : objects[0]) {
                    object["name"] = renaming->object(object.at("name"));
                    network["objects"].push_back(std::move(object));
                }
                for (const Json& connection : objects[1])
                    network["connections"].push_back(renaming->connection(connection));
                present = objects;
            }
            for (const Json& action : update.at("actions")) network["actions"].push_back(renaming->action(action));
        }
    } catch (const Json::exception& problem) {
        throw Failure(fmt::format("The actions of an edit are no network: {}.", problem.what()));
    }
    return network;
}

} // namespace corvane
