// Parts: a text between its separators, from the front. Unlike words, parts may be empty.
//
// Errors     none.
// Ownership  borrows the text; a part is a view into it.
// Threads    one caller at a time.

#pragma once

#include <string_view>

class Parts {
public:
    Parts(std::string_view text, char separator) : rest_(text), separator_(separator) {}

    /// Takes the next part. False: there is none left. A text that ends with a separator has an
    /// empty last part, and an empty text is one empty part.
    bool Next(std::string_view* part) {
        if (is_done_) return false;
        const std::size_t end = rest_.find(separator_);
        is_done_ = end == std::string_view::npos;
        *part = rest_.substr(0, end);
        rest_.remove_prefix(is_done_ ? rest_.size() : end + 1);
        return true;
    }

    /// Whether every part is taken.
    bool IsDone() const { return is_done_; }

    /// What follows the last part that was taken, with its separators.
    std::string_view Rest() const { return rest_; }

private:
    std::string_view rest_;
    const char separator_;
    bool is_done_ = false;
};
