// Words of a text: taking the next one off the front, and trimming both ends.
//
// Units      `blanks` lists the characters that separate words; a word is a run of other ones.
// Errors     none: an empty word means that the text holds no further word.
// Ownership  a word is a view into the caller's text.
// Threads    any.

#pragma once

#include <algorithm>
#include <string_view>

/// Removes the first word of `*text` and the blanks before it, and returns the word. The blank
/// behind the word stays in `*text`.
constexpr std::string_view TakeWord(std::string_view* text, std::string_view blanks) {
    // Loops that the compiler unrolls for blanks that it knows: words are short.
    const auto is_blank = [blanks](char c) {
        return std::any_of(blanks.begin(), blanks.end(), [c](char blank) { return c == blank; });
    };
    const auto begin = std::find_if_not(text->begin(), text->end(), is_blank);
    const auto end = std::find_if(begin, text->end(), is_blank);
    const std::string_view word(begin, end);
    *text = {end, text->end()};
    return word;
}

/// `text` without the blanks at its two ends.
constexpr std::string_view Trimmed(std::string_view text, std::string_view blanks) {
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    return text.substr(0, text.find_last_not_of(blanks) + 1);  // npos + 1 is 0
}
