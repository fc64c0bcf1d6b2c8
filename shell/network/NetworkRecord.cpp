// SPDX-License-Identifier: Apache-2.0
#include "network/NetworkRecord.hpp"

#include "network/StrokeText.hpp"

#include <algorithm>

namespace corvane {

using Json = NetworkRecord::Json;

namespace {

/// One alone, or a list.
Json oneOrMore(const std::vector<std::string>& names) { return names.size() == 1 ? Json(names.front()) : Json(names); }

} // namespace

void NetworkRecord::addObject(const std::string& name, const std::string& type) { objects_.push_back({name, type}); }

void NetworkRecord::connect(const std::string& from, const std::string& to, bool fromAnything) {
    connections_.push_back({from, to, fromAnything});
}

void NetworkRecord::set(const std::string& slot, Json value) {
    if (started_) return present_.set.emplace_back(slot, std::move(value)), void();
    const std::size_t dot = slot.rfind('.');
    const auto object = std::ranges::find(objects_, slot.substr(0, dot), &Object::name);
    if (object != objects_.end()) object->parameters[slot.substr(dot + 1)] = std::move(value);
}

void NetworkRecord::press(const std::string& slot) { present_.press.push_back(slot); }

void NetworkRecord::draw(const std::string& slot, const Stroke& stroke) { present_.draw.emplace_back(slot, stroke); }

void NetworkRecord::update() {
    started_ = true;
    if (!present_.empty()) actions_.push_back(std::exchange(present_, {}));
}

Json NetworkRecord::asJson(const Action& action) {
    Json json = Json::object();
    for (const auto& [slot, value] : action.set) json["set"][slot] = value;
    for (const auto& [slot, stroke] : action.draw) json["draw"][slot] = strokeAsJson(stroke);
    if (!action.press.empty()) json["press"] = oneOrMore(action.press);
    return json;
}

Json NetworkRecord::objectsAsJson() const {
    Json objects = Json::array();
    for (const Object& object : objects_) {
        Json json{{"name", object.name}, {"type", object.type}};
        if (!object.parameters.empty()) json["parameters"] = object.parameters;
        objects.push_back(std::move(json));
    }
    return objects;
}

Json NetworkRecord::connectionsAsJson() const {
    Json connections = Json::array();
    for (const Connection& connection : connections_) {
        Json json{{"from", connection.from}, {"to", connection.to}};
        if (connection.fromAnything) json["fromAnything"] = true;
        connections.push_back(std::move(json));
    }
    return connections;
}

std::string NetworkRecord::textSince(std::size_t firstAction) const {
    Json actions = Json::array();
    for (std::size_t i = firstAction; i < actions_.size(); ++i) actions.push_back(asJson(actions_[i]));
    const Json file{{"objects", objectsAsJson()}, {"connections", connectionsAsJson()}, {"actions", actions}};
    return file.dump(-1, ' ', false, Json::error_handler_t::replace); // names may be no UTF-8
}

Json NetworkRecord::asJson(const std::string& survey, const std::string& reportedBefore,
                           const std::string& reportedBehind, const std::string& save) const {
    Json actions = Json::array();
    if (!reportedBefore.empty()) actions.push_back({{"report", reportedBefore}});
    for (const Action& action : actions_) actions.push_back(asJson(action));
    if (!reportedBehind.empty()) actions.push_back({{"report", reportedBehind}});
    if (!save.empty()) actions.push_back({{"save", save}});
    return {
        {"survey", survey}, {"objects", objectsAsJson()}, {"connections", connectionsAsJson()}, {"actions", actions}};
}

} // namespace corvane
