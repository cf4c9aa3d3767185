// Tokens of expressions: numbers, names with their parts, operators, brackets.
//
// Units      places in bytes from the expression's start.
// Errors     ExpressionError: a character or a number that cannot be read, a text that is too long.
// Ownership  tokens borrow the expression.
// Threads    any.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace expression {

/// Longest expression, in bytes. Nobody writes such a one; a program's mistake ends here.
inline constexpr std::size_t kMostBytes = 10000;

struct Token {
    enum class Kind {
        kNumber,
        kName,  ///< also the words and, or, not and the names of functions
        kQuotedName,
        kSymbol,
        kEnd,
    };
    Kind kind = Kind::kEnd;
    std::size_t place = 0;
    std::string_view text;       ///< without the part, and without quotes
    std::string_view part = {};  ///< of a name: "r" of ".r", "2" of "[2]"; empty: the whole
    std::size_t part_place = 0;
    double number = 0;

    bool Is(std::string_view symbol) const { return kind == Kind::kSymbol && text == symbol; }
    bool IsWord(std::string_view word) const { return kind == Kind::kName && text == word; }
};

/// What messages quote of a text of the user's.
std::string Cut(std::string_view text);

/// The tokens of `text`; the last is the end.
std::vector<Token> TokensOf(std::string_view text);

}  // namespace expression
