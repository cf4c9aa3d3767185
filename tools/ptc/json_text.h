// JsonText: JSON as text, each value on a line of its own unless a line holds more.
//
// Units      none.
// Errors     std::bad_alloc; bytes that are no UTF-8 become U+FFFD, floats that are not finite
//            null.
// Ownership  owns the text.
// Threads    one caller at a time.
//
// The JSON library only prints single values here. A tree of its values takes memory while it is
// destroyed, where nothing may fail: out of memory, the program would end.

#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>

class JsonText {
public:
    /// `depth`: how deep the text stands in a larger one, by default as an item of a list.
    explicit JsonText(std::size_t depth = 1) : depth_(depth) {}

    void Begin(char bracket) {
        Separate();
        text_ += bracket;
        ++depth_;
        is_empty_ = true;
    }
    void Begin(std::string_view key, char bracket) {
        Key(key);
        Begin(bracket);
    }
    void End(char bracket) {
        --depth_;
        if (!is_empty_ && lines_ == 0) NewLine();
        text_ += bracket;
        is_empty_ = false;
    }

    template <class Value>
    void Add(const Value& value) {
        using nlohmann::json;
        Separate();
        text_ += json(value).dump(-1, ' ', false, json::error_handler_t::replace);
    }
    template <class Value>
    void Add(std::string_view key, const Value& value) {
        Key(key);
        Add(value);
    }
    /// What is not known is null and not left out, so that every object has the same keys.
    template <class Value>
    void Add(std::string_view key, const std::optional<Value>& value) {
        if (value) {
            Add(key, *value);
        } else {
            Add(key, nullptr);
        }
    }
    void Add(std::string_view key, std::span<const float> values) {
        Begin(key, '[');
        for (const float value : values) Add(value);
        End(']');
    }

    // The same with all that is between the brackets on one line.
    void BeginLine(char bracket) {
        Begin(bracket);
        ++lines_;
    }
    void BeginLine(std::string_view key, char bracket) {
        Begin(key, bracket);
        ++lines_;
    }
    void EndLine(char bracket) {
        End(bracket);
        --lines_;
    }

    const std::string& Text() const { return text_; }

private:
    void Key(std::string_view key) {
        Separate();
        text_ += nlohmann::json(key).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
        text_ += ": ";
        is_behind_key_ = true;
    }
    /// Ends the value before, if there is one, and goes to the place of the next.
    void Separate() {
        if (!is_behind_key_ && !is_empty_) text_ += ',';
        if (!is_behind_key_) NewLine();
        is_behind_key_ = is_empty_ = false;
    }
    void NewLine() {
        if (lines_ > 0) {
            if (!text_.ends_with('[') && !text_.ends_with('{')) text_ += ' ';
            return;
        }
        if (!text_.empty()) text_ += '\n';
        text_.append(2 * depth_, ' ');
    }

    std::string text_;
    std::size_t depth_;
    bool is_empty_ = true;  ///< nothing is between the brackets yet
    bool is_behind_key_ = false;
    int lines_ = 0;  ///< begun and not ended, one within the other
};
