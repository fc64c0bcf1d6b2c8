// SPDX-License-Identifier: Apache-2.0
#include "json/Document.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

namespace json {
namespace {

using Members = Value::object_t;

constexpr std::size_t LongestShown = 40; // characters

/// "[json.exception.parse_error.101] parse error at line 1, column 2: … - invalid literal; last read: '…'" without its
/// kind, and without what was read, which may be as long as the text.
std::string reasonOf(const std::exception& error) {
    std::string reason = error.what();
    if (const auto kind = reason.find("] "); reason.starts_with('[') && kind != reason.npos) reason.erase(0, kind + 2);
    return reason.substr(0, std::min(reason.find("; last read"), std::size_t{200}));
}

/// Builds the value from the parser's events. Nothing here recurses, and no key is looked up while an object grows.
class Builder final : public nlohmann::json_sax<Value> {
public:
    Builder(Value& root, const std::string& name) : root_(root), name_(name) {}

    bool null() override { return put(nullptr); }
    bool boolean(bool value) override { return put(value); }
    bool number_integer(number_integer_t value) override { return put(value); }
    bool number_unsigned(number_unsigned_t value) override { return put(value); }
    bool number_float(number_float_t value, const string_t&) override { return put(value); }
    bool string(string_t& value) override { return put(std::move(value)); }
    bool binary(binary_t&) override { return false; } // no text holds any
    bool start_object(std::size_t) override { return open(Value::object()); }
    bool start_array(std::size_t) override { return open(Value::array()); }

    bool key(string_t& key) override {
        open_.back()->get_ref<Members&>().emplace_back(std::move(key), nullptr);
        return true;
    }

    bool end_object() override {
        refuseDoubleKeys(open_.back()->get_ref<const Members&>());
        open_.pop_back();
        return true;
    }

    bool end_array() override {
        open_.pop_back();
        return true;
    }

    bool parse_error(std::size_t byte, const std::string&, const nlohmann::detail::exception& error) override {
        const bool tooLarge = dynamic_cast<const Value::out_of_range*>(&error);
        if (tooLarge) fail(place(), "a number is too large");
        fail("", fmt::format("is not JSON at byte {}: {}", byte, reasonOf(error)));
    }

private:
    /// Where the value stands now.
    Value* put(Value&& value) {
        if (open_.empty()) return &(root_ = std::move(value));
        Value& parent = *open_.back();
        if (parent.is_array()) {
            parent.push_back(std::move(value));
            return &parent.back();
        }
        return &(parent.get_ref<Members&>().back().second = std::move(value));
    }

    bool open(Value&& empty) {
        if (open_.size() == Document::Deepest)
            fail(place(), fmt::format("is nested more than {} levels deep", Document::Deepest));
        open_.push_back(put(std::move(empty))); // stays in place: its parent does not grow while it is open
        return true;
    }

    void refuseDoubleKeys(const Members& members) const {
        if (members.size() < 2) return;
        std::vector<const std::string*> keys;
        for (const auto& member : members) keys.push_back(&member.first);
        const auto text = [](const std::string* key) -> const std::string& { return *key; };
        std::ranges::sort(keys, {}, text);
        const auto twice = std::ranges::adjacent_find(keys, {}, text);
        if (twice == keys.end()) return;
        const std::string key = step(**twice).substr(1);
        fail(placeOfOpen() + "/" + key,
             fmt::format("the key \"{}\" stands twice in this object; keep one of them", key));
    }

    /// Of the innermost container.
    std::string placeOfOpen() const {
        std::string place;
        for (std::size_t i = 0; i + 1 < open_.size(); ++i) place += stepInto(*open_[i], 1);
        return place;
    }

    /// Of the value to come.
    std::string place() const { return open_.empty() ? "" : placeOfOpen() + stepInto(*open_.back(), 0); }

    static std::string stepInto(const Value& container, std::size_t added) {
        return container.is_array() ? step(container.size() - added)
                                    : step(container.get_ref<const Members&>().back().first);
    }

    [[noreturn]] void fail(const std::string& place, const std::string& problem) const {
        throw Error(prefix(name_, place) + problem);
    }

    Value& root_;
    const std::string& name_;
    std::vector<Value*> open_; // containers, from the outermost to the one at hand
};

} // namespace

Document::Document(std::string_view text, std::string nameOfText) : name(std::move(nameOfText)) {
    Builder builder(root, name);
    Value::sax_parse(text.begin(), text.end(), &builder);
}

std::string prefix(const std::string& name, const std::string& place) {
    if (place.empty()) return name.empty() ? "" : name + ": ";
    return fmt::format("{}at {}: ", name.empty() ? "" : name + " ", place);
}

std::string step(std::string_view key) {
    std::string step = "/";
    for (const char c : key.substr(0, LongestShown)) step += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
    return key.size() > LongestShown ? step + "..." : step;
}

std::string excerpt(const Value& value) {
    const std::string text = value.dump(-1, ' ', true, Value::error_handler_t::replace);
    return text.size() <= LongestShown ? text : text.substr(0, LongestShown) + "...";
}

void append(Value& object, std::string key, Value value) {
    if (!object.is_object()) object = Value::object();
    object.get_ref<Members&>().emplace_back(std::move(key), std::move(value));
}

} // namespace json
