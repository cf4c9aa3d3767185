// Escaping and breaking lines.

#include "tools/pages/roff_text.h"

#include <sstream>

namespace pages {

namespace {

constexpr std::size_t kColumns = 78;

std::string_view Escape(char c) {
    switch (c) {
        case '\\':
            return "\\e";
        case '-':
            return "\\-";
        case '\'':
            return "\\(aq";
        case '`':
            return "\\(ga";
        case '"':
            return "\\(dq";
        case '^':
            return "\\(ha";
        case '~':
            return "\\(ti";
        default:
            return {};
    }
}

/// `code` in bold; the rest as it is.
std::string WithCode(std::string_view text) {
    std::string out;
    bool is_code = false;
    while (!text.empty()) {
        const std::size_t mark = text.find('`');
        out += is_code ? RoffBold(text.substr(0, mark)) : RoffEscaped(text.substr(0, mark));
        if (mark == text.npos) break;
        text.remove_prefix(mark + 1);
        is_code = !is_code;
    }
    return out;
}

bool EndsSentence(const std::string& word) {
    return word.ends_with('.') && !word.ends_with("..");
}

}  // namespace

std::string RoffEscaped(std::string_view text) {
    std::string out;
    for (const char c : text) {
        const std::string_view escape = Escape(c);
        if (escape.empty())
            out += c;
        else
            out += escape;
    }
    return out;
}

std::string RoffLine(std::string_view text) {
    return (text.starts_with('.') ? "\\&" : "") + RoffEscaped(text) + "\n";
}

std::string RoffParagraph(std::string_view text) {
    std::istringstream words(WithCode(text));
    std::string out;
    std::size_t column = 0;
    for (std::string word; words >> word;) {
        if (column > 0 && column + 1 + word.size() > kColumns) {
            out += '\n';
            column = 0;
        }
        if (column > 0)
            out += ' ';
        else if (word.starts_with('.'))
            out += "\\&";
        out += word;
        column += word.size() + 1;
        if (EndsSentence(word)) {
            out += '\n';
            column = 0;
        }
    }
    if (column > 0) out += '\n';
    return out;
}

std::string RoffBold(std::string_view text) {
    return "\\fB" + RoffEscaped(text) + "\\fR";
}

std::string RoffItalic(std::string_view text) {
    return "\\fI" + RoffEscaped(text) + "\\fR";
}

}  // namespace pages
