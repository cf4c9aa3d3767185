// Escapes, indents and closes XML elements.

#include "util/stats/stats_xml.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "util/base/ascii.h"
#include "util/text/utf8.h"

namespace {

constexpr std::string_view kRoot = "statistics";
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD
constexpr std::size_t kIndentWidth = 2;

/// Whether XML 1.0 allows the character.
bool IsXmlCharacter(const Utf8Sequence& sequence) {
    const std::uint32_t code = sequence.code;
    if (!sequence.is_character) return false;
    if (code < 0x20) return code == '\t' || code == '\n' || code == '\r';
    return code != 0xFFFE && code != 0xFFFF;
}

/// Removes the first character of `*text` and returns it; returns an empty text if XML does not
/// allow it, or if a byte was removed that is part of no character.
std::string_view TakeCharacter(std::string_view* text) {
    const Utf8Sequence sequence = FirstUtf8Sequence(*text);
    const std::string_view character = text->substr(0, sequence.length);
    // Of a damaged sequence one byte at a time: the next byte may begin a good one.
    text->remove_prefix(std::max<std::size_t>(sequence.length, 1));
    return IsXmlCharacter(sequence) ? character : std::string_view();
}

/// The text from which a parser restores `character`. Unescaped, a parser turns a carriage return
/// into a line feed, and in attributes a line feed or a tab into a blank.
std::string_view Escaped(char character, bool is_attribute) {
    switch (character) {
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '"':
            return is_attribute ? "&quot;" : "\"";
        case '\t':
            return is_attribute ? "&#9;" : "\t";
        case '\n':
            return is_attribute ? "&#10;" : "\n";
        case '\r':
            return "&#13;";
        default:
            return {};
    }
}

void AppendEscaped(std::string_view value, bool is_attribute, std::string* text) {
    while (!value.empty()) {
        const std::string_view character = TakeCharacter(&value);
        if (character.empty()) {
            text->append(kReplacement);
            continue;
        }
        const std::string_view escaped = Escaped(character.front(), is_attribute);
        text->append(escaped.empty() ? character : escaped);
    }
}

/// `name` made valid for XML: letters, digits, '_', '-' and '.', the first a letter or '_'.
std::string XmlName(std::string_view name) {
    const auto is_letter = [](char c) { return IsAsciiLetter(c) || c == '_'; };
    const auto is_inner = [&](char c) {
        return is_letter(c) || IsAsciiDigit(c) || c == '-' || c == '.';
    };
    std::string taken(name);
    std::replace_if(
        taken.begin(), taken.end(), [&](char c) { return !is_inner(c); }, '_');
    if (taken.empty() || !is_letter(taken.front())) taken.insert(0, 1, '_');
    return taken;
}

}  // namespace

XmlStatsWriter::XmlStatsWriter(std::string* text) : text_(text), open_{std::string(kRoot)} {
    text_->append("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<").append(kRoot).append(">\n");
}

void XmlStatsWriter::Finish() {
    if (!is_line_start_) EndLine();
    while (!open_.empty()) {
        const std::string name = std::move(open_.back());
        open_.pop_back();
        Indent();
        Close(name);
        EndLine();
    }
}

void XmlStatsWriter::BeginElement(std::string_view tag,
                                  std::span<const StatsAttribute> attributes) {
    if (open_.empty()) return;
    std::string name = XmlName(tag);
    Open(name, attributes);
    EndLine();
    open_.push_back(std::move(name));
}

void XmlStatsWriter::EndElement(std::string_view /*tag*/, bool newline) {
    if (open_.size() < 2) return;  // only Finish() closes the root
    const std::string name = std::move(open_.back());
    open_.pop_back();
    Indent();
    Close(name);
    if (newline) EndLine();
}

void XmlStatsWriter::LeafElement(std::string_view tag, std::string_view value,
                                 std::span<const StatsAttribute> attributes) {
    if (open_.empty()) return;
    const std::string name = XmlName(tag);
    Open(name, attributes);
    AppendEscaped(value, false, text_);
    Close(name);
    EndLine();
}

void XmlStatsWriter::Open(std::string_view name, std::span<const StatsAttribute> attributes) {
    Indent();
    text_->append("<").append(name);
    std::vector<std::string> written;  // XML allows each name once
    for (const StatsAttribute& attribute : attributes) {
        std::string key = XmlName(attribute.name);
        if (std::find(written.begin(), written.end(), key) != written.end()) continue;
        text_->append(" ").append(key).append("=\"");
        written.push_back(std::move(key));
        AppendEscaped(attribute.value, true, text_);
        text_->append("\"");
    }
    text_->append(">");
}

void XmlStatsWriter::Close(std::string_view name) {
    text_->append("</").append(name).append(">");
}

// Only at the start of a line: an element may follow another on its line.
void XmlStatsWriter::Indent() {
    if (is_line_start_) text_->append(open_.size() * kIndentWidth, ' ');
    is_line_start_ = false;
}

void XmlStatsWriter::EndLine() {
    *text_ += '\n';
    is_line_start_ = true;
}
