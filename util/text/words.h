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
    text->remove_prefix(std::min(text->find_first_not_of(blanks), text->size()));
    const std::string_view word = text->substr(0, text->find_first_of(blanks));
    text->remove_prefix(word.size());
    return word;
}

/// `text` without the blanks at its two ends.
constexpr std::string_view Trimmed(std::string_view text, std::string_view blanks) {
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    return text.substr(0, text.find_last_not_of(blanks) + 1);  // npos + 1 is 0
}
