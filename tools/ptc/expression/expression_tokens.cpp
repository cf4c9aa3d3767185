// Tokens of expressions: one pass over the text.

#include "tools/ptc/expression/expression_tokens.h"

#include <fmt/format.h>

#include <charconv>
#include <string>
#include <system_error>

#include "tools/ptc/expression/expression_error.h"

namespace expression {

namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool IsNameStart(char c) {
    return IsLetter(c) || c == '_' || static_cast<unsigned char>(c) >= 0x80;
}

bool IsNamePart(char c) {
    return IsNameStart(c) || IsDigit(c);
}

/// What other languages write for what is written in another way here.
struct Foreign {
    std::string_view text;
    std::string_view what;
};
constexpr Foreign kForeign[] = {
    {"&", "\"and\" joins conditions"},
    {"|", "\"or\" joins conditions"},
    {"!", "\"not\" negates a condition"},
    {"=", "\"==\" compares; nothing can be assigned here"},
};

class Lexer {
public:
    explicit Lexer(std::string_view text) : text_(text) {}

    std::vector<Token> Run() {
        if (text_.size() > kMostBytes)
            Fail(kMostBytes, fmt::format("it is longer than {} bytes", kMostBytes));
        std::vector<Token> tokens;
        do {
            while (at_ < text_.size() && (At(at_) == ' ' || At(at_) == '\t' || At(at_) == '\n'))
                ++at_;
            tokens.push_back(Next());
        } while (tokens.back().kind != Token::Kind::kEnd);
        return tokens;
    }

private:
    char At(std::size_t place) const { return place < text_.size() ? text_[place] : '\0'; }

    [[noreturn]] void Fail(std::size_t place, const std::string& what) const {
        throw ExpressionError(text_, place, what);
    }

    Token Next() {
        const char c = At(at_);
        if (at_ >= text_.size()) return {Token::Kind::kEnd, at_, ""};
        if (IsDigit(c) || (c == '.' && IsDigit(At(at_ + 1)))) return Number();
        if (IsNameStart(c)) return Name();
        if (c == '"' || c == '\'' || c == '`') return QuotedName();
        return Symbol();
    }

    Token Number() {
        Token token{Token::Kind::kNumber, at_, ""};
        const char* const begin = text_.data() + at_;
        const auto read = std::from_chars(begin, text_.data() + text_.size(), token.number);
        token.text = text_.substr(at_, static_cast<std::size_t>(read.ptr - begin));
        if (read.ec != std::errc())
            Fail(at_, fmt::format("the number {} is too large or too small", Cut(token.text)));
        at_ += token.text.size();
        if (IsNamePart(At(at_)) || At(at_) == '.') Fail(at_, "a number cannot go on like this");
        return token;
    }

    Token Name() {
        Token token{Token::Kind::kName, at_, ""};
        while (IsNamePart(At(at_))) ++at_;
        token.text = text_.substr(token.place, at_ - token.place);
        Part(&token);
        return token;
    }

    Token QuotedName() {
        Token token{Token::Kind::kQuotedName, at_, ""};
        const std::size_t end = text_.find(At(at_), at_ + 1);
        if (end == text_.npos) Fail(at_, "this quote is not closed");
        token.text = text_.substr(at_ + 1, end - at_ - 1);
        at_ = end + 1;
        Part(&token);
        return token;
    }

    /// ".r" or "[2]" right behind a name.
    void Part(Token* token) {
        const char c = At(at_);
        if (c != '.' && c != '[') return;
        token->part_place = at_;
        const std::size_t begin = ++at_;
        while (c == '.' ? IsNamePart(At(at_)) : IsDigit(At(at_))) ++at_;
        token->part = text_.substr(begin, at_ - begin);
        if (token->part.empty())
            Fail(at_, c == '.' ? "a letter such as r or x follows the point"
                               : "a whole number stands in these brackets");
        if (c == '[' && At(at_++) != ']') Fail(token->part_place, "this bracket is not closed");
    }

    Token Symbol() {
        const std::string_view rest = text_.substr(at_);
        for (const std::string_view symbol :
             {"<=", ">=", "==", "!=", "<", ">", "+", "-", "*", "/", "(", ")", ","}) {
            if (!rest.starts_with(symbol)) continue;
            at_ += symbol.size();
            return {Token::Kind::kSymbol, at_ - symbol.size(), rest.substr(0, symbol.size())};
        }
        for (const Foreign& foreign : kForeign)
            if (rest.starts_with(foreign.text)) Fail(at_, std::string(foreign.what));
        Fail(at_, fmt::format("\"{}\" means nothing here", rest.substr(0, 1)));
    }

    const std::string_view text_;
    std::size_t at_ = 0;
};

}  // namespace

std::string Cut(std::string_view text) {
    constexpr std::size_t kShown = 60;
    if (text.size() <= kShown) return std::string(text);
    return std::string(text.substr(0, kShown)) + "...";
}

std::vector<Token> TokensOf(std::string_view text) {
    return Lexer(text).Run();
}

}  // namespace expression
