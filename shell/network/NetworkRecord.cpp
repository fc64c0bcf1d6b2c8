// SPDX-License-Identifier: Apache-2.0
#include "network/NetworkRecord.hpp"

#include "network/StrokeText.hpp"

#include <algorithm>
#include <cassert>

namespace corvane {

using Json = NetworkRecord::Json;

namespace {

/// One alone, or a list.
Json oneOrMore(const std::vector<std::string>& names) { return names.size() == 1 ? Json(names.front()) : Json(names); }

/// Whether "object.slot" is one of the object.
bool isOf(const std::string& path, const std::string& object) { return path.substr(0, path.rfind('.')) == object; }

} // namespace

bool NetworkRecord::Action::empty() const {
    return disconnect.empty() && remove.empty() && add.empty() && connect.empty() && set.empty() && draw.empty() &&
           press.empty();
}

/// What was done with an object that goes before the action is over.
void NetworkRecord::Action::forget(const std::string& object) {
    std::erase_if(connect, [&](const Connection& c) { return isOf(c.from, object) || isOf(c.to, object); });
    std::erase_if(set, [&](const auto& value) { return isOf(value.first, object); });
    std::erase_if(draw, [&](const auto& stroke) { return isOf(stroke.first, object); });
    std::erase_if(press, [&](const std::string& slot) { return isOf(slot, object); });
}

void NetworkRecord::Structure::disconnect(const std::string& input) {
    std::erase_if(connections, [&](const Connection& connection) { return connection.to == input; });
}

void NetworkRecord::Structure::remove(const std::string& object) {
    std::erase_if(connections, [&](const Connection& c) { return isOf(c.from, object) || isOf(c.to, object); });
    std::erase_if(objects, [&](const Object& known) { return known.name == object; });
}

void NetworkRecord::Structure::change(const Action& action) {
    for (const std::string& input : action.disconnect) disconnect(input);
    for (const std::string& object : action.remove) remove(object);
    objects.insert(objects.end(), action.add.begin(), action.add.end());
    connections.insert(connections.end(), action.connect.begin(), action.connect.end());
    for (const auto& [slot, value] : action.set) set(slot, value);
}

void NetworkRecord::Structure::set(const std::string& slot, Json value) {
    const std::size_t dot = slot.rfind('.');
    const auto object = std::ranges::find(objects, slot.substr(0, dot), &Object::name);
    if (object != objects.end()) object->parameters[slot.substr(dot + 1)] = std::move(value);
}

void NetworkRecord::addObject(const std::string& name, const std::string& type) {
    (started_ ? present_.add : initial_.objects).push_back({name, type});
}

void NetworkRecord::connect(const std::string& from, const std::string& to, bool fromAnything) {
    (started_ ? present_.connect : initial_.connections).push_back({from, to, fromAnything});
}

void NetworkRecord::disconnect(const std::string& input) {
    if (!started_) return initial_.disconnect(input);
    const auto isNew = [&](const Connection& connection) { return connection.to == input; };
    if (std::erase_if(present_.connect, isNew) == 0) present_.disconnect.push_back(input);
}

void NetworkRecord::removeObject(const std::string& name) {
    if (!started_) return initial_.remove(name);
    present_.forget(name);
    const auto isNew = [&](const Object& object) { return object.name == name; };
    if (std::erase_if(present_.add, isNew) == 0) present_.remove.push_back(name);
}

void NetworkRecord::set(const std::string& slot, Json value) {
    if (started_) {
        const auto known = std::ranges::find(present_.set, slot, &std::pair<std::string, Json>::first);
        if (known == present_.set.end()) return present_.set.emplace_back(slot, std::move(value)), void();
        known->second = std::move(value);
        return;
    }
    initial_.set(slot, std::move(value));
}

void NetworkRecord::press(const std::string& slot) { present_.press.push_back(slot); }

void NetworkRecord::draw(const std::string& slot, const Stroke& stroke) { present_.draw.emplace_back(slot, stroke); }

void NetworkRecord::update() {
    started_ = true;
    if (!present_.empty()) actions_.push_back(std::exchange(present_, {}));
}

void NetworkRecord::dropTriggers() {
    present_.draw.clear();
    present_.press.clear();
}

void NetworkRecord::forgetSince(std::size_t firstAction) {
    assert(firstAction >= keptActions_);
    present_ = {};
    actions_.erase(actions_.begin() + std::ptrdiff_t(std::min(firstAction, actions_.size())), actions_.end());
}

Json NetworkRecord::asJson(const Object& object) {
    Json json{{"name", object.name}, {"type", object.type}};
    if (!object.parameters.empty()) json["parameters"] = object.parameters;
    return json;
}

Json NetworkRecord::asJson(const Connection& connection) {
    Json json{{"from", connection.from}, {"to", connection.to}};
    if (connection.fromAnything) json["fromAnything"] = true;
    return json;
}

template <class Things>
Json NetworkRecord::listOf(const Things& things) {
    Json list = Json::array();
    for (const auto& thing : things) list.push_back(asJson(thing));
    return list;
}

Json NetworkRecord::asJson(const Action& action) {
    Json json = Json::object();
    if (!action.disconnect.empty()) json["disconnect"] = oneOrMore(action.disconnect);
    if (!action.remove.empty()) json["remove"] = oneOrMore(action.remove);
    if (!action.add.empty()) json["add"] = listOf(action.add);
    if (!action.connect.empty()) json["connect"] = listOf(action.connect);
    for (const auto& [slot, value] : action.set) json["set"][slot] = value;
    for (const auto& [slot, stroke] : action.draw) json["draw"][slot] = strokeAsJson(stroke);
    if (!action.press.empty()) json["press"] = oneOrMore(action.press);
    return json;
}

void NetworkRecord::keep() {
    if (keptActions_ == 0) kept_ = initial_;
    for (; keptActions_ < actions_.size(); ++keptActions_) kept_.change(actions_[keptActions_]);
}

std::string NetworkRecord::newText() const {
    const Structure& structure = keptActions_ == 0 ? initial_ : kept_;
    Json actions = Json::array();
    for (std::size_t i = keptActions_; i < actions_.size(); ++i) actions.push_back(asJson(actions_[i]));
    const Json file{{"objects", listOf(structure.objects)},
                    {"connections", listOf(structure.connections)},
                    {"actions", std::move(actions)}};
    return file.dump(-1, ' ', false, Json::error_handler_t::replace); // names may be no UTF-8
}

Json NetworkRecord::asJson(const std::string& survey, const std::string& reportedBefore,
                           const std::string& reportedBehind, const std::string& save) const {
    Json actions = Json::array();
    if (!reportedBefore.empty()) actions.push_back({{"report", reportedBefore}});
    for (const Action& action : actions_) actions.push_back(asJson(action));
    if (!reportedBehind.empty()) actions.push_back({{"report", reportedBehind}});
    if (!save.empty()) actions.push_back({{"save", save}});
    return {{"survey", survey},
            {"objects", listOf(initial_.objects)},
            {"connections", listOf(initial_.connections)},
            {"actions", std::move(actions)}};
}

} // namespace corvane
