// Expression code: the grammar, the types, and the translation, in one pass over the tokens.

#include "tools/ptc/expression/expression_code.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>

#include "tools/ptc/expression/expression_error.h"
#include "tools/ptc/expression/expression_tokens.h"
#include "tools/ptc/expression/named_fields.h"

namespace expression {

namespace {

struct Function {
    std::string_view name;
    std::size_t least;  ///< numbers that it takes
    std::size_t most;
    Type type;
    std::string_view takes;
};

constexpr Function kFunctions[] = {
    {"min", 2, SIZE_MAX, Type::kNumber, "two numbers or more"},
    {"max", 2, SIZE_MAX, Type::kNumber, "two numbers or more"},
    {"abs", 1, 1, Type::kNumber, "one number"},
    {"sqrt", 1, 1, Type::kNumber, "one number"},
    {"length", 3, 3, Type::kNumber, "a variable of three floats, or three numbers"},
    {"isfinite", 1, 1, Type::kCondition, "one number"},
};

constexpr std::array<std::string_view, 4> kArithmetic = {"+", "-", "*", "/"};
constexpr std::array<std::string_view, 6> kComparisons = {"<", "<=", ">", ">=", "==", "!="};

template <class List>
bool IsOneOf(const Token& token, const List& symbols) {
    return token.kind == Token::Kind::kSymbol &&
           std::find(symbols.begin(), symbols.end(), token.text) != symbols.end();
}

/// What is between two brackets, or behind a "not", or the whole expression.
struct Frame {
    enum class Kind { kWhole, kBrackets, kFunction, kNot };
    Kind kind = Kind::kWhole;
    std::size_t place = 0;
    const Function* function = nullptr;
    std::size_t arguments = 1;

    // Of the part up to the next "and", "or" or comma:
    std::size_t part_place = 0;
    std::optional<Type> last = std::nullopt;  ///< the type of the operand before
    bool has_comparison = false;
    bool wants_number = false;  ///< an operator precedes the next operand
    bool is_joined = false;     ///< an "and" or "or" precedes the part, which is a condition
};

class Translator {
public:
    Translator(std::string_view expression, const PointFields& fields, Lane lane)
        : expression_(expression), fields_(fields), lane_(lane), tokens_(TokensOf(expression)) {}

    ExpressionCode Run() {
        Push({Frame::Kind::kWhole, 0});
        for (;; ++next_) {
            const Token& token = tokens_[next_];
            if (wants_operand_) {
                Operand(token);
            } else if (token.kind == Token::Kind::kEnd) {
                break;
            } else {
                Operator(token);
            }
        }
        CloseNots();
        if (frames_.size() > 1) Fail(Top().place, "this bracket is not closed");
        code_.type = EndPart(Top());
        return std::move(code_);
    }

private:
    Frame& Top() { return frames_.back(); }

    [[noreturn]] void Fail(std::size_t place, const std::string& what) const {
        throw ExpressionError(expression_, place, what);
    }

    [[noreturn]] void FailHere(const Token& token, std::string_view wanted) const {
        if (token.kind == Token::Kind::kEnd)
            Fail(token.place, fmt::format("{} is missing at the end", wanted));
        Fail(token.place, fmt::format("{} is missing before \"{}\"", wanted, Cut(token.text)));
    }

    void Push(Frame frame) {
        if (frames_.size() > kMostNested)
            Fail(frame.place, fmt::format("brackets are nested deeper than {}", kMostNested));
        frames_.push_back(frame);
        BeginPart(frame.place);
    }

    void BeginPart(std::size_t place) {
        Top().part_place = place;
        Top().last.reset();
        Top().has_comparison = false;
        Top().wants_number = false;
        wants_operand_ = true;
    }

    /// An operand ends: a value, a call, what was in brackets.
    void EndOperand(Type type, std::size_t place) {
        if (Top().wants_number && type == Type::kCondition)
            Fail(place, "a number is needed here, and this is a condition");
        Top().last = type;
        wants_operand_ = false;
    }

    Type EndPart(const Frame& frame) const {
        const Type type = frame.has_comparison ? Type::kCondition : *frame.last;
        if (frame.is_joined && type == Type::kNumber)
            Fail(frame.part_place, "a condition is needed behind this, and there is a number");
        return type;
    }

    // Operands.

    void Operand(const Token& token) {
        // The library takes one sign before an operand, users any number.
        const bool is_sign = token.Is("-") || token.Is("+");
        if (is_negated_ && !is_sign) {
            code_.text += '-';
            is_negated_ = false;
        }
        const bool is_called = tokens_[std::min(next_ + 1, tokens_.size() - 1)].Is("(");
        if (token.kind == Token::Kind::kNumber) return Number(token);
        if (token.Is("(")) return Open({Frame::Kind::kBrackets, token.place}, "(");
        if (is_sign) return Sign(token);
        if (token.IsWord("not")) return Not(token);
        if (token.IsWord("and") || token.IsWord("or")) FailHere(token, "a condition");
        if (token.kind == Token::Kind::kName && token.part.empty() && is_called) return Call(token);
        if (token.kind == Token::Kind::kName || token.kind == Token::Kind::kQuotedName)
            return Name(token);
        FailHere(token, "a value");
    }

    void Number(const Token& token) {
        code_.text += fmt::format("c{}", code_.numbers.size());
        code_.numbers.push_back(token.number);
        EndOperand(Type::kNumber, token.place);
    }

    void Sign(const Token& token) {
        if (token.Is("-")) is_negated_ = !is_negated_;
        Top().wants_number = true;
    }

    void Open(const Frame& frame, std::string_view text) {
        code_.text += text;
        Push(frame);
    }

    void Not(const Token& token) {
        if (Top().wants_number) Fail(token.place, "\"not\" belongs before a whole condition");
        Open({Frame::Kind::kNot, token.place}, "not(");
    }

    void Call(const Token& token) {
        for (const Function& function : kFunctions) {
            if (function.name != token.text) continue;
            Open({Frame::Kind::kFunction, token.place, &function}, function.name);
            code_.text += '(';
            ++next_;  // the bracket
            return;
        }
        Fail(token.place,
             fmt::format("there is no function \"{}\"; there are min, max, abs, sqrt, length and "
                         "isfinite",
                         Cut(token.text)));
    }

    void Name(const Token& token) {
        const FieldRun run = FieldsOf(token, expression_, fields_);
        if (IsWholeArgument() && run.count == 3) {
            Top().arguments = 3;
            for (std::size_t i = 0; i < 3; ++i) {
                if (i > 0) code_.text += ',';
                Field(run.first + i);
            }
        } else if (run.count == 1) {
            Field(run.first);
        } else if (run.count == lane_.count) {
            Field(run.first + lane_.index);
        } else {
            const std::string name = Written(run.name);
            Fail(token.place, fmt::format("a number is needed here, and {0} has {1} floats: "
                                          "{0}{2} is the first",
                                          name, run.count, run.count == 3 ? ".r or .x" : "[0]"));
        }
        EndOperand(Type::kNumber, token.place);
    }

    /// Whether the present token is the only one in the brackets of length().
    bool IsWholeArgument() {
        const Frame& frame = Top();
        return frame.kind == Frame::Kind::kFunction && frame.function->name == "length" &&
               tokens_[next_ - 1].Is("(") && tokens_[next_ + 1].Is(")");
    }

    void Field(std::size_t field) {
        auto& fields = code_.fields;
        const auto found = std::find(fields.begin(), fields.end(), field);
        code_.text += fmt::format("v{}", found - fields.begin());
        if (found == fields.end()) fields.push_back(field);
    }

    // What follows an operand.

    void Operator(const Token& token) {
        if (IsOneOf(token, kArithmetic)) return NumberOperator(token);
        if (IsOneOf(token, kComparisons)) return Comparison(token);
        if (token.IsWord("and") || token.IsWord("or")) return Join(token);
        if (token.Is(",")) return Comma(token);
        if (token.Is(")")) return Close(token);
        FailHere(token, "an operator");
    }

    void NumberOperator(const Token& token) {
        if (*Top().last == Type::kCondition)
            Fail(token.place, fmt::format("\"{}\" needs a number before it, and there is a "
                                          "condition",
                                          token.text));
        Top().wants_number = true;
        wants_operand_ = true;
        code_.text += token.text;
    }

    void Comparison(const Token& token) {
        if (Top().has_comparison)
            Fail(token.place, "comparisons do not chain: join two of them with \"and\"");
        NumberOperator(token);
        Top().has_comparison = true;
    }

    void Join(const Token& token) {
        CloseNots();
        if (EndPart(Top()) == Type::kNumber)
            Fail(token.place, fmt::format("\"{}\" needs a condition before it, and there is a "
                                          "number",
                                          token.text));
        code_.text += token.text == "and" ? "&&" : "||";
        BeginPart(token.place);
        Top().is_joined = true;
    }

    void Argument() {
        if (EndPart(Top()) == Type::kCondition)
            Fail(Top().place, fmt::format("{} takes {}, and this is a condition",
                                          Top().function->name, Top().function->takes));
    }

    void Comma(const Token& token) {
        CloseNots();
        if (Top().kind != Frame::Kind::kFunction)
            Fail(token.place, "a comma belongs between the numbers that a function takes");
        Argument();
        ++Top().arguments;
        code_.text += ',';
        BeginPart(token.place);
        Top().is_joined = false;
    }

    void Close(const Token& token) {
        CloseNots();
        const Frame frame = Top();
        if (frame.kind == Frame::Kind::kWhole) Fail(token.place, "this bracket was not opened");
        Type type = EndPart(frame);
        if (frame.kind == Frame::Kind::kFunction) {
            Argument();
            const Function& function = *frame.function;
            if (frame.arguments < function.least || frame.arguments > function.most)
                Fail(frame.place, fmt::format("{} takes {}", function.name, function.takes));
            type = function.type;
        }
        code_.text += ')';
        frames_.pop_back();
        EndOperand(type, frame.place);
    }

    /// A "not" reaches to the next "and", "or", comma or bracket.
    void CloseNots() {
        while (Top().kind == Frame::Kind::kNot) {
            if (EndPart(Top()) == Type::kNumber)
                Fail(Top().place, "\"not\" needs a condition behind it, and there is a number");
            code_.text += ')';
            const std::size_t place = Top().place;
            frames_.pop_back();
            EndOperand(Type::kCondition, place);
        }
    }

    const std::string_view expression_;
    const PointFields& fields_;
    const Lane lane_;
    const std::vector<Token> tokens_;
    std::size_t next_ = 0;
    bool wants_operand_ = true;
    bool is_negated_ = false;  ///< the operand that is read next
    std::vector<Frame> frames_;
    ExpressionCode code_;
};

}  // namespace

ExpressionCode Translate(std::string_view expression, const PointFields& fields, Lane lane) {
    return Translator(expression, fields, lane).Run();
}

}  // namespace expression
