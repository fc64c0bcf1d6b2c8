// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "json/Document.hpp"

#include <string>
#include <vector>

namespace json {

/// A value of a document, which must outlive it and stay where it is. What does not suit throws Error with the place
/// of the value, which is looked for only then.
class Reader {
public:
    struct Member;

    explicit Reader(const Document& document) : Reader(document, document.root) {}

    const Value& value() const { return *value_; }

    /// Throws Error; `problem` has no full stop.
    [[noreturn]] void fail(const std::string& problem) const;

    /// "X was found where Y is expected" unless the condition holds.
    void expect(bool holds, const std::string& expected) const;

    /// Calls the function; an invalid_argument that is no Error yet becomes one.
    template <class Function>
    auto at(Function function) const {
        try {
            return function();
        } catch (const Error&) {
            throw;
        } catch (const std::invalid_argument& problem) {
            fail(problem.what());
        }
    }

    /// What a message about this value begins with: "net.json at /actions/2: ".
    std::string place() const;

    /// An object with no other keys than these.
    void expectKeys(const std::vector<std::string>& known) const;

    bool has(const std::string& key) const { return value_->contains(key); }
    Reader member(const std::string& key) const;
    std::vector<Member> members() const;
    std::vector<Reader> elements() const;

    /// A text, or a list of texts.
    std::vector<Reader> oneOrMore() const;

    const std::string& text() const;
    bool flag() const;
    double number() const;
    int integer() const;

    /// A list of so many numbers.
    std::vector<double> numbers(std::size_t count) const;

    /// A text, number, truth value, list or object, as the text form of a parameter's value.
    std::string valueText() const;

private:
    Reader(const Document& document, const Value& value) : document_(&document), value_(&value) {}

    const Document* document_;
    const Value* value_;
};

struct Reader::Member {
    const std::string& key;
    Reader value;
};

} // namespace json
