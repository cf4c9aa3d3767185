// Expression errors: the line, and the excerpt with its caret.

#include "tools/ptc/expression/expression_error.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

#include "tools/common/standard_streams.h"
#include "util/text/printable_text.h"

namespace expression {

namespace {

// Bytes that are shown before the place and behind it.
constexpr std::size_t kBefore = 50;
constexpr std::size_t kBehind = 25;

bool IsInsideCharacter(std::string_view text, std::size_t at) {
    return at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80U;
}

std::size_t Characters(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U;
    }));
}

std::string ExcerptOf(std::string_view text, std::size_t place) {
    std::size_t begin = place > kBefore ? place - kBefore : 0;
    std::size_t end = std::min(text.size(), place + kBehind);
    while (begin > 0 && IsInsideCharacter(text, begin)) --begin;
    while (IsInsideCharacter(text, end)) ++end;
    const std::string before =
        (begin > 0 ? "..." : "") + Printable(text.substr(begin, place - begin));
    const std::string behind =
        Printable(text.substr(place, end - place)) + (end < text.size() ? "..." : "");
    return "  " + before + behind + "\n  " + std::string(Characters(before), ' ') + "^\n";
}

}  // namespace

ExpressionError::ExpressionError(std::string_view expression, std::size_t place,
                                 const std::string& what)
    : Failure(fmt::format("expression, character {}: {}",
                          Characters(expression.substr(0, place)) + 1, what)),
      place_(std::min(place, expression.size())),
      what_(what),
      excerpt_(ExcerptOf(expression, place_)) {}

ExpressionError ExpressionError::Within(std::string_view whole, std::size_t begin) const {
    return {whole, begin + place_, what_};
}

int RunWithExpressions(const std::string& name, int failed, const std::function<int()>& work) {
    try {
        return work();
    } catch (const ExpressionError& failure) {
        Tell("ptc", (name == "-" ? "standard input" : name) + ": " + failure.what());
        std::fputs(failure.Excerpt().c_str(), stderr);
    } catch (const std::exception& failure) {
        TellFailure("ptc", failure);
    }
    return failed;
}

}  // namespace expression
