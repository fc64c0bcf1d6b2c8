// SPDX-License-Identifier: Apache-2.0
// An expression as a limit. One loop runs its program over three kinds of values: numbers of one point, which is the
// plain way; blocks of points side by side, which is the fast one; and intervals, for what a box says of its points.
#include "limit/Limits.hpp"

#include "limit/Expression.hpp"
#include "json/Document.hpp"
#include "json/NearestName.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <glm/vector_relational.hpp>
#include <limits>

namespace corvane {
namespace {

using Code = Expression::Code;
using Kesh::BoxPart;
using Kesh::PointColumns;
using Sextant::BoundingBox;
using Indices = std::vector<std::uint32_t>;
constexpr double Infinite = std::numeric_limits<double>::infinity();

/// Where a quantity comes from: an axis of the position, or a column of the fields.
struct Source {
    bool axis;
    std::size_t index;
};

/// Whether a value is in a list, which ascends.
bool isIn(double value, const std::vector<double>& list) { return std::ranges::binary_search(list, value); }

double combined(Code code, double a, double b) {
    switch (code) {
    case Code::Add:
        return a + b;
    case Code::Subtract:
        return a - b;
    case Code::Multiply:
        return a * b;
    case Code::Divide:
        return a / b;
    default:
        return std::fmod(a, b);
    }
}

bool compared(Code code, double a, double b) {
    switch (code) {
    case Code::Less:
        return a < b;
    case Code::LessEqual:
        return a <= b;
    case Code::Greater:
        return a > b;
    case Code::GreaterEqual:
        return a >= b;
    case Code::Equal:
        return a == b;
    default:
        return a != b;
    }
}

/// Runs the program. A domain says what numbers and truth values are, and does the operations; those with two operands
/// leave the result in the first. The stacks keep their memory from one run to the next.
template <class Domain>
class Machine {
public:
    Machine(const Expression& expression, const std::vector<Source>& sources)
        : expression_(expression), sources_(sources) {}

    /// Valid until the next run.
    const typename Domain::Truth& run(const Domain& domain) {
        top_ = truths_ = 0;
        for (const Expression::Step step : expression_.steps) perform(domain, step);
        return truth_[0];
    }

private:
    void perform(const Domain& domain, Expression::Step step) {
        switch (step.code) {
        case Code::Constant:
            return domain.constant(expression_.constants[step.index], pushed(numbers_, top_));
        case Code::Quantity:
            return domain.quantity(sources_[step.index], pushed(numbers_, top_));
        case Code::Negate:
            return domain.negate(numbers_[top_ - 1]);
        case Code::OneOf:
            --top_;
            return domain.oneOf(numbers_[top_], expression_.lists[step.index], pushed(truth_, truths_));
        case Code::And:
        case Code::Or:
            --truths_;
            return domain.join(step.code == Code::And, truth_[truths_ - 1], truth_[truths_]);
        case Code::Not:
            return domain.invert(truth_[truths_ - 1]);
        case Code::Add:
        case Code::Subtract:
        case Code::Multiply:
        case Code::Divide:
        case Code::Remainder:
            --top_;
            return domain.combine(step.code, numbers_[top_ - 1], numbers_[top_]);
        default:
            top_ -= 2;
            return domain.compare(step.code, numbers_[top_], numbers_[top_ + 1], pushed(truth_, truths_));
        }
    }

    template <class T>
    static T& pushed(std::vector<T>& stack, std::size_t& size) {
        if (stack.size() == size) stack.emplace_back();
        return stack[size++];
    }

    const Expression& expression_;
    const std::vector<Source>& sources_;
    std::vector<typename Domain::Number> numbers_;
    std::vector<typename Domain::Truth> truth_;
    std::size_t top_ = 0, truths_ = 0; // how many of them are in use
};

/// One point.
struct OnePoint {
    using Number = double;
    using Truth = char; // a vector of bool has no references

    const PointColumns& points;
    std::size_t i;

    void constant(double value, double& number) const { number = value; }
    void quantity(Source source, double& number) const {
        number = source.axis ? points.positions[i][static_cast<int>(source.index)] : points.fields[source.index][i];
    }
    void negate(double& number) const { number = -number; }
    void combine(Code code, double& a, double b) const { a = combined(code, a, b); }
    void compare(Code code, double a, double b, char& truth) const { truth = compared(code, a, b); }
    void oneOf(double number, const std::vector<double>& list, char& truth) const { truth = isIn(number, list); }
    void join(bool both, char& a, char b) const { a = static_cast<char>(both ? a & b : a | b); }
    void invert(char& truth) const { truth = !truth; }
};

/// Points that go through each step together: loops as plain as these the compiler does for several points at once.
constexpr std::size_t Block = 512;

struct PointBlock {
    using Number = std::array<double, Block>;
    using Truth = std::array<std::uint8_t, Block>;

    const PointColumns& points;
    std::size_t begin, count; // of the points; what lies beyond in the block means nothing

    void constant(double value, Number& number) const { number.fill(value); }

    void quantity(Source source, Number& number) const {
        if (!source.axis)
            return void(std::ranges::copy(points.fields[source.index].subspan(begin, count), number.begin()));
        const auto positions = points.positions.subspan(begin, count);
        const int axis = static_cast<int>(source.index);
        for (std::size_t i = 0; i < count; ++i) number[i] = positions[i][axis];
    }

    void negate(Number& number) const {
        for (double& value : number) value = -value;
    }

    void combine(Code code, Number& a, const Number& b) const {
        withCode<Code::Add, Code::Subtract, Code::Multiply, Code::Divide, Code::Remainder>(code, [&](auto fixed) {
            for (std::size_t i = 0; i < Block; ++i) a[i] = combined(fixed, a[i], b[i]);
        });
    }

    void compare(Code code, const Number& a, const Number& b, Truth& truth) const {
        withCode<Code::Less, Code::LessEqual, Code::Greater, Code::GreaterEqual, Code::Equal, Code::Unequal>(
            code, [&](auto fixed) {
                for (std::size_t i = 0; i < Block; ++i) truth[i] = compared(fixed, a[i], b[i]);
            });
    }

    void oneOf(const Number& number, const std::vector<double>& list, Truth& truth) const {
        for (std::size_t i = 0; i < count; ++i) truth[i] = isIn(number[i], list);
    }

    void join(bool both, Truth& a, const Truth& b) const {
        if (both)
            for (std::size_t i = 0; i < Block; ++i) a[i] &= b[i];
        else
            for (std::size_t i = 0; i < Block; ++i) a[i] |= b[i];
    }

    void invert(Truth& truth) const {
        for (std::uint8_t& value : truth) value ^= 1;
    }

private:
    /// Calls the function with the code as a constant, so that its loop is compiled for each of them.
    template <Code... Codes, class Function>
    static void withCode(Code code, Function function) {
        (void)((code == Codes && (function(std::integral_constant<Code, Codes>()), true)) || ...);
    }
};

/// All points of a box. Numbers are intervals, ends included; truth is what holds for none, some or all.
struct WholeBox {
    struct Number {
        double low, high;
    };
    using Truth = BoxPart;

    const BoundingBox& box;

    void constant(double value, Number& number) const { number = {value, value}; }

    void quantity(Source source, Number& number) const {
        const int axis = static_cast<int>(source.index);
        number = source.axis ? Number{box.minimum[axis], box.maximum[axis]} : unknown();
    }

    void negate(Number& number) const { number = {-number.high, -number.low}; }

    void combine(Code code, Number& a, const Number& b) const {
        switch (code) {
        case Code::Add:
            a = {a.low + b.low, a.high + b.high};
            break;
        case Code::Subtract:
            a = {a.low - b.high, a.high - b.low};
            break;
        case Code::Multiply: {
            const auto [low, high] = std::minmax({a.low * b.low, a.low * b.high, a.high * b.low, a.high * b.high});
            a = {low, high};
            break;
        }
        default:
            a = unknown();
        }
        if (!std::isfinite(a.low) || !std::isfinite(a.high)) a = unknown();
    }

    void compare(Code code, const Number& a, const Number& b, BoxPart& truth) const {
        truth = BoxPart::Some;
        if (!std::isfinite(a.low) || !std::isfinite(b.low)) return; // also of what may be no number
        switch (code) {
        case Code::Less:
            return decide(a.high < b.low, a.low >= b.high, truth);
        case Code::LessEqual:
            return decide(a.high <= b.low, a.low > b.high, truth);
        case Code::Greater:
            return decide(a.low > b.high, a.high <= b.low, truth);
        case Code::GreaterEqual:
            return decide(a.low >= b.high, a.high < b.low, truth);
        case Code::Equal:
            return decide(exact(a) && exact(b) && a.low == b.low, a.high < b.low || b.high < a.low, truth);
        default:
            return decide(a.high < b.low || b.high < a.low, exact(a) && exact(b) && a.low == b.low, truth);
        }
    }

    void oneOf(const Number&, const std::vector<double>&, BoxPart& truth) const { truth = BoxPart::Some; }
    void join(bool both, BoxPart& a, BoxPart b) const { a = both ? std::min(a, b) : std::max(a, b); }
    void invert(BoxPart& truth) const {
        if (truth != BoxPart::Some) truth = truth == BoxPart::All ? BoxPart::None : BoxPart::All;
    }

private:
    static Number unknown() { return {-Infinite, Infinite}; }
    static bool exact(const Number& number) { return number.low == number.high; }
    static void decide(bool all, bool none, BoxPart& truth) {
        truth = all ? BoxPart::All : none ? BoxPart::None : BoxPart::Some;
    }
};

class ExpressionLimit : public Kesh::Limit, public NamesFields {
public:
    ExpressionLimit(Expression expression, const FieldNaming& naming) : expression_(std::move(expression)) {
        for (const std::string& name : expression_.names) sources_.push_back(sourceOf(name, naming));
    }

    std::vector<std::string> fields() const override { return fields_; }
    bool readsPositions() const override { return fields_.empty() || std::ranges::any_of(sources_, &Source::axis); }

    BoxPart partOf(const BoundingBox& box) const override {
        if (box.empty()) return BoxPart::None;
        return Machine<WholeBox>(expression_, sources_).run({box});
    }

    BoundingBox bounds() const override {
        return {Sextant::PhysicalSpace::point(-Infinite), Sextant::PhysicalSpace::point(Infinite)};
    }

    bool holds(const PointColumns& points, std::size_t i) const override {
        return Machine<OnePoint>(expression_, sources_).run({points, i}) != 0;
    }

    void select(const PointColumns& points, Indices& indices) const override {
        indices.resize(points.size());
        std::size_t selected = 0;
        forEachBlock(points, [&](std::size_t begin, std::size_t count, const PointBlock::Truth& truth) {
            for (std::size_t i = 0; i < count; ++i) {
                indices[selected] = static_cast<std::uint32_t>(begin + i);
                selected += truth[i];
            }
        });
        indices.resize(selected);
    }

    void narrow(const PointColumns& points, Indices& indices) const override {
        Machine<PointBlock> machine(expression_, sources_);
        std::size_t next = 0, selected = 0;
        while (next < indices.size()) { // blocks without an index are not looked at
            const std::size_t begin = indices[next] / Block * Block;
            const std::size_t count = std::min(Block, points.size() - begin);
            const auto& truth = machine.run({points, begin, count});
            for (; next < indices.size() && indices[next] < begin + count; ++next) {
                const std::uint32_t i = indices[next];
                indices[selected] = i;
                selected += truth[i - begin];
            }
        }
        indices.resize(selected);
    }

    std::string text() const override {
        return json::Value{{"where", expression_.text}}.dump(-1, ' ', false, json::Value::error_handler_t::replace);
    }

    Kesh::LimitPtr named(const FieldNaming& naming) const override {
        return std::make_shared<ExpressionLimit>(expression_, naming);
    }

private:
    /// X, Y and Z are the axes of the position, which is at hand anyway.
    Source sourceOf(const std::string& name, const FieldNaming& naming) {
        for (std::size_t axis = 0; axis < 3; ++axis)
            if (json::sameName(name, std::string(1, "XYZ"[axis]))) return {true, axis};
        const std::string field = naming ? naming(name) : name;
        auto known = std::ranges::find(fields_, field);
        if (known == fields_.end()) known = fields_.insert(known, field);
        return {false, static_cast<std::size_t>(known - fields_.begin())};
    }

    template <class Function>
    void forEachBlock(const PointColumns& points, Function function) const {
        Machine<PointBlock> machine(expression_, sources_);
        for (std::size_t begin = 0; begin < points.size(); begin += Block) {
            const std::size_t count = std::min(Block, points.size() - begin);
            function(begin, count, machine.run({points, begin, count}));
        }
    }

    Expression expression_;
    std::vector<Source> sources_;     // of its names
    std::vector<std::string> fields_; // each once
};

} // namespace

Kesh::LimitPtr where(const std::string& expression) {
    return std::make_shared<ExpressionLimit>(parseExpression(expression), nullptr);
}

} // namespace corvane
