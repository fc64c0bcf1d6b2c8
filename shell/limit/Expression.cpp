// SPDX-License-Identifier: Apache-2.0
// A parser by recursive descent, one function per level of binding. What it has read so far is a program already: an
// operator writes its step behind those of its operands, so that nothing is built that would have to be walked again.
#include "limit/Expression.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>

namespace corvane {
namespace {

using Code = Expression::Code;

constexpr std::size_t LongestText = 1 << 16; // bytes
constexpr int Deepest = 100;                 // levels of parentheses, signs and negations

/// What a part of the expression gives.
enum class Kind { Number, Condition };

struct Operator {
    std::string_view text;
    Code code;
};

constexpr Operator Comparisons[] = {{"<=", Code::LessEqual}, {">=", Code::GreaterEqual}, {"==", Code::Equal},
                                    {"!=", Code::Unequal},   {"<>", Code::Unequal},      {"<", Code::Less},
                                    {">", Code::Greater},    {"=", Code::Equal}};
constexpr Operator Sums[] = {{"+", Code::Add}, {"-", Code::Subtract}};
constexpr Operator Products[] = {{"*", Code::Multiply}, {"/", Code::Divide}, {"%", Code::Remainder}};

bool startsName(char c) { return std::isalpha(static_cast<unsigned char>(c)) || c == '_' || (c & 0x80) != 0; }
bool continuesName(char c) { return startsName(c) || std::isdigit(static_cast<unsigned char>(c)); }

class Parser {
public:
    explicit Parser(std::string_view text) : text_(text) {
        if (text.size() > LongestText)
            throw ExpressionError(LongestText + 1, fmt::format("an expression has {} bytes at most", LongestText));
        program_.text = text;
    }

    Expression parse() {
        const Part all = either();
        skipBlanks();
        if (next_ < text_.size()) fail(fmt::format("{} was found where the expression should end", found()));
        requireCondition(all);
        return std::move(program_);
    }

private:
    struct Part {
        Kind kind;
        std::size_t begin; // of its text
        bool name = false; // nothing but the name of a quantity
    };

    /// Counts the levels on the stack of calls, so that no text can exhaust it.
    class Level {
    public:
        explicit Level(Parser& parser) : parser_(parser) {
            if (++parser_.depth_ > Deepest)
                parser_.fail(fmt::format("more than {} levels of parentheses and signs were found", Deepest));
        }
        ~Level() { --parser_.depth_; }
        Level(const Level&) = delete;
        Level& operator=(const Level&) = delete;

    private:
        Parser& parser_;
    };

    Part either() {
        return chain({"||", "or"}, Code::Or, [this] { return both(); });
    }
    Part both() {
        return chain({"&&", "and"}, Code::And, [this] { return negated(); });
    }

    /// Conditions with one operator between them, which a sign and a word stand for.
    template <class Operand>
    Part chain(std::pair<std::string_view, std::string_view> signOrWord, Code code, Operand operand) {
        Part left = operand();
        while (takeSign(signOrWord.first) || takeWord(signOrWord.second)) {
            requireCondition(left);
            requireCondition(operand());
            emit(code);
        }
        return left;
    }

    Part negated() {
        skipBlanks();
        const std::size_t begin = next_;
        if (!(takeSign("!") || takeWord("not"))) return comparison();
        const Level level(*this);
        requireCondition(negated());
        emit(Code::Not);
        return {Kind::Condition, begin};
    }

    Part comparison() {
        const Part left = sum();
        if (left.kind == Kind::Condition) return refuseComparisonOf(left);
        if (const auto code = take(Comparisons)) {
            requireNumber(sum());
            emit(*code);
        } else if (takeWord("in")) {
            oneOf();
        } else if (takeWord("not")) {
            if (!takeWord("in")) fail(fmt::format("{} was found where \"in\" is expected", found()));
            oneOf();
            emit(Code::Not);
        } else {
            return left;
        }
        return refuseComparisonOf({Kind::Condition, left.begin});
    }

    /// A condition is not compared again: 1 < Z < 3 is not what it looks like.
    Part refuseComparisonOf(const Part& condition) {
        skipBlanks();
        const std::size_t begin = next_;
        if (!take(Comparisons)) return condition;
        next_ = begin;
        fail("a comparison was found behind a condition; join two conditions with \"and\"");
    }

    void oneOf() {
        expectSign("(");
        std::vector<double> list;
        do list.push_back(signedNumber());
        while (takeSign(","));
        expectSign(")");
        std::ranges::sort(list);
        program_.steps.push_back({Code::OneOf, static_cast<std::uint32_t>(program_.lists.size())});
        program_.lists.push_back(std::move(list));
    }

    Part sum() {
        return arithmetic(Sums, [this] { return product(); });
    }
    Part product() {
        return arithmetic(Products, [this] { return sign(); });
    }

    template <std::size_t Count, class Operand>
    Part arithmetic(const Operator (&operators)[Count], Operand operand) {
        Part left = operand();
        while (const auto code = take(operators)) {
            requireNumber(left);
            requireNumber(operand());
            emit(*code);
            left.name = false;
        }
        return left;
    }

    Part sign() {
        skipBlanks();
        const std::size_t begin = next_;
        const bool negative = takeSign("-");
        if (!negative && !takeSign("+")) return primary();
        const Level level(*this);
        requireNumber(sign());
        if (negative) emit(Code::Negate);
        return {Kind::Number, begin};
    }

    Part primary() {
        skipBlanks();
        const std::size_t begin = next_;
        if (takeSign("(")) {
            const Level level(*this);
            const Part inner = either();
            expectSign(")");
            return {inner.kind, begin};
        }
        if (const auto name = takeName()) return quantity(*name, begin);
        pushConstant(number());
        return {Kind::Number, begin};
    }

    Part quantity(const std::string& name, std::size_t begin) {
        auto known = std::ranges::find(program_.names, name);
        if (known == program_.names.end()) known = program_.names.insert(known, name);
        const auto index = static_cast<std::uint32_t>(known - program_.names.begin());
        if (!atRange()) {
            program_.steps.push_back({Code::Quantity, index});
            return {Kind::Number, begin, true};
        }
        range(index);
        return {Kind::Condition, begin};
    }

    /// Whether "[", "(" or "!" before one of them follows.
    bool atRange() {
        skipBlanks();
        const std::size_t at = next_ + (peek(0) == '!' ? 1 : 0);
        return at < text_.size() && (text_[at] == '[' || text_[at] == '(');
    }

    /// [1:2], (10:], ![25:25]
    void range(std::uint32_t quantity) {
        const bool outside = takeSign("!");
        const bool lowInside = takeSign("[");
        if (!lowInside) expectSign("(");
        const double low = bound(-std::numeric_limits<double>::infinity());
        expectSign(":");
        const double high = bound(std::numeric_limits<double>::infinity());
        const bool highInside = takeSign("]");
        if (!highInside) expectSign(")");
        const auto compare = [&](double limit, Code code) {
            program_.steps.push_back({Code::Quantity, quantity});
            pushConstant(limit);
            emit(code);
        };
        compare(low, lowInside ? Code::GreaterEqual : Code::Greater);
        compare(high, highInside ? Code::LessEqual : Code::Less);
        emit(Code::And);
        if (outside) emit(Code::Not);
    }

    double bound(double open) {
        skipBlanks();
        return next_ < text_.size() && (text_[next_] == ':' || text_[next_] == ']' || text_[next_] == ')')
                   ? open
                   : signedNumber();
    }

    double signedNumber() {
        const bool negative = takeSign("-");
        if (!negative) takeSign("+");
        const double value = number();
        return negative ? -value : value;
    }

    double number() {
        skipBlanks();
        double value = 0;
        const char *begin = text_.data() + next_, *end = text_.data() + text_.size();
        const bool digits = begin != end && (std::isdigit(static_cast<unsigned char>(*begin)) || *begin == '.');
        const auto [stop, error] = std::from_chars(begin, end, value);
        if (!digits || error != std::errc() || !std::isfinite(value))
            fail(fmt::format("{} was found where a number or a name is expected", found()));
        next_ = static_cast<std::size_t>(stop - text_.data());
        if (next_ < text_.size() && continuesName(text_[next_]))
            fail(fmt::format("{} was found behind a number", found()));
        return value;
    }

    /// A name as it stands, or between double quotes; words that are operators are none.
    std::optional<std::string> takeName() {
        if (peek(0) == '"') {
            const std::size_t end = text_.find('"', next_ + 1);
            if (end == text_.npos) fail("a name begins with a double quote that is not closed");
            const std::string name(text_.substr(next_ + 1, end - next_ - 1));
            if (name.empty()) fail("an empty name was found");
            next_ = end + 1;
            return name;
        }
        const std::string_view word = wordHere();
        if (word.empty()) return std::nullopt;
        for (const std::string_view reserved : {"and", "or", "not", "in"})
            if (same(word, reserved)) fail(fmt::format("\"{}\" was found where a number or a name is expected", word));
        next_ += word.size();
        return std::string(word);
    }

    std::string_view wordHere() const {
        std::size_t end = next_;
        if (end < text_.size() && startsName(text_[end]))
            while (end < text_.size() && continuesName(text_[end])) ++end;
        return text_.substr(next_, end - next_);
    }

    static bool same(std::string_view word, std::string_view lower) {
        return std::ranges::equal(word, lower, {}, [](unsigned char c) { return std::tolower(c); });
    }

    bool takeWord(std::string_view lower) {
        skipBlanks();
        const std::string_view word = wordHere();
        if (!same(word, lower)) return false;
        next_ += word.size();
        return true;
    }

    bool takeSign(std::string_view sign) {
        skipBlanks();
        if (!text_.substr(next_).starts_with(sign)) return false;
        next_ += sign.size();
        return true;
    }

    void expectSign(std::string_view sign) {
        if (!takeSign(sign)) fail(fmt::format("{} was found where \"{}\" is expected", found(), sign));
    }

    template <std::size_t Count>
    std::optional<Code> take(const Operator (&operators)[Count]) {
        for (const Operator& one : operators)
            if (takeSign(one.text)) return one.code;
        return std::nullopt;
    }

    void skipBlanks() {
        while (next_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[next_]))) ++next_;
    }

    char peek(std::size_t ahead) const { return next_ + ahead < text_.size() ? text_[next_ + ahead] : '\0'; }

    void requireCondition(const Part& part) const {
        if (part.kind == Kind::Condition) return;
        const std::string_view name =
            part.name ? text_.substr(part.begin, text_.find_first_of(" )&|", part.begin) - part.begin) : "";
        throw ExpressionError(columnOf(part.begin),
                              part.name
                                  ? fmt::format("a condition is expected; compare it with a number, as in \"{} == "
                                                "1\"",
                                                name)
                                  : "a number was found where a condition is expected, such as \"Z > 470\"");
    }

    void requireNumber(const Part& part) const {
        if (part.kind == Kind::Condition)
            throw ExpressionError(columnOf(part.begin), "a condition was found where a number is expected");
    }

    void pushConstant(double value) {
        program_.steps.push_back({Code::Constant, static_cast<std::uint32_t>(program_.constants.size())});
        program_.constants.push_back(value);
    }

    void emit(Code code) { program_.steps.push_back({code}); }

    /// What stands here, for messages.
    std::string found() const {
        if (next_ >= text_.size()) return "the end";
        const std::string_view word = wordHere();
        return fmt::format("\"{}\"", word.empty() ? text_.substr(next_, 1) : word);
    }

    /// Characters are not bytes: those that continue one begin with the bits 10.
    std::size_t columnOf(std::size_t byte) const {
        return 1 + static_cast<std::size_t>(
                       std::ranges::count_if(text_.substr(0, byte), [](char c) { return (c & 0xC0) != 0x80; }));
    }

    [[noreturn]] void fail(const std::string& problem) const { throw ExpressionError(columnOf(next_), problem); }

    std::string_view text_;
    std::size_t next_ = 0;
    int depth_ = 0;
    Expression program_;
};

} // namespace

ExpressionError::ExpressionError(std::size_t place, const std::string& problem)
    : std::invalid_argument(fmt::format("column {}: {}", place, problem)), column(place) {}

Expression parseExpression(std::string_view text) { return Parser(text).parse(); }

} // namespace corvane
