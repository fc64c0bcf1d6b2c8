// SPDX-License-Identifier: Apache-2.0
#include "network/ReplayNetwork.hpp"

#include "base/Failure.hpp"

#include <fmt/format.h>

#include <algorithm>
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

/// The objects that are there at present, and what is known of their values.
class Present {
public:
    /// Whether objects and connections are these, and no value of theirs has to become again what it is without being
    /// set.
    bool fits(const Json& objects, const Json& connections) const {
        if (connections != connections_ || objects.size() != types_.size()) return false;
        return std::ranges::all_of(objects, [this](const Json& object) {
            const auto type = types_.find(object.at("name"));
            if (type == types_.end() || type->second != object.at("type")) return false;
            const Json values = valuesOf(object);
            const Json& known = values_.at(type->first);
            return std::ranges::all_of(known.items(), [&](const auto& value) { return values.contains(value.key()); });
        });
    }

    void become(const Json& objects, const Json& connections) {
        connections_ = connections;
        types_.clear();
        values_.clear();
        for (const Json& object : objects) {
            types_[object.at("name")] = object.at("type");
            values_[object.at("name")] = valuesOf(object);
        }
    }

    /// What is to be set for the values to be those of the objects; they are then. {"object.slot": value}
    Json differences(const Json& objects) {
        Json changed = Json::object();
        for (const Json& object : objects) {
            Json& known = values_.at(object.at("name"));
            const Json values = valuesOf(object);
            for (const auto& [slot, value] : values.items())
                if (!known.contains(slot) || known[slot] != value)
                    changed[object.at("name").get<std::string>() + "." + slot] = known[slot] = value;
        }
        return changed;
    }

    void follow(const Json& action) {
        if (!action.contains("set")) return;
        for (const auto& [path, value] : action.at("set").items()) {
            const std::size_t dot = path.rfind('.');
            const auto known = values_.find(path.substr(0, dot));
            if (known != values_.end()) known->second[path.substr(dot + 1)] = value;
        }
    }

private:
    static Json valuesOf(const Json& object) { return object.value("parameters", Json::object()); }

    Json connections_;
    std::map<std::string, std::string> types_;
    std::map<std::string, Json> values_;
};

} // namespace

Json replayNetwork(const std::vector<Json>& updates) {
    Json network{{"objects", Json::array()}, {"connections", Json::array()}, {"actions", Json::array()}};
    std::set<std::string> taken;
    Present present;
    std::optional<Renaming> renaming;
    try {
        for (const Json& update : updates) {
            const Json &objects = update.at("objects"), &connections = update.at("connections");
            if (!renaming || !present.fits(objects, connections)) {
                renaming.emplace(objects, taken);
                for (Json object : objects) {
                    object["name"] = renaming->object(object.at("name"));
                    network["objects"].push_back(std::move(object));
                }
                for (const Json& connection : connections)
                    network["connections"].push_back(renaming->connection(connection));
                present.become(objects, connections);
            }
            if (const Json changed = present.differences(objects); !changed.empty())
                network["actions"].push_back(renaming->action({{"set", changed}}));
            for (const Json& action : update.at("actions")) {
                network["actions"].push_back(renaming->action(action));
                present.follow(action);
            }
        }
    } catch (const Json::exception& problem) {
        throw Failure(fmt::format("The actions of an edit are no network: {}.", problem.what()));
    }
    return network;
}

} // namespace corvane
