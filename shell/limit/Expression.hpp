// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

/// A condition on the quantities of a point, such as "ReturnNumber == 1 && Z > 470", as a program for a machine with
/// two stacks, one of numbers and one of truth values.
///
/// From the weakest binding to the strongest: `||` `or`; `&&` `and`; `!` `not`; comparisons `<` `<=` `>` `>=` `=` `==`
/// `!=` `<>` and `in (1, 2)`; `+` `-`; `*` `/` `%`; the sign. A name with blanks stands in double quotes. A range such
/// as `Classification[1:2]`, `Z[10:]` or `Red!(20:40]` is a condition: brackets take their bound in, parentheses do
/// not, and `!` turns it round. All numbers are doubles; `%` is the remainder with the sign of the dividend.
struct Expression {
    enum class Code : std::uint8_t {
        Constant, ///< puts constants[index] on the numbers
        Quantity, ///< puts the quantity names[index] there
        Add,      ///< this and the next four take two numbers and put one
        Subtract,
        Multiply,
        Divide,
        Remainder,
        Negate,
        Less, ///< this and the next five take two numbers and put a truth value
        LessEqual,
        Greater,
        GreaterEqual,
        Equal,
        Unequal,
        OneOf, ///< takes a number and puts whether it is in lists[index]
        And,
        Or,
        Not
    };
    struct Step {
        Code code;
        std::uint32_t index = 0;
    };

    std::string text; ///< as it was given
    std::vector<Step> steps;
    std::vector<double> constants;
    std::vector<std::string> names; ///< of quantities, each once, as they were written
    std::vector<std::vector<double>> lists;
};

/// What is wrong with an expression: `what()` names the column, counted from 1 in characters, and has no full stop.
struct ExpressionError : std::invalid_argument {
    ExpressionError(std::size_t place, const std::string& problem);
    std::size_t column;
};

/// Throws ExpressionError. Whether its names mean anything is for whoever knows the points.
Expression parseExpression(std::string_view text);

} // namespace corvane
