// The token layer's readers: each value raw, or from a line of text.

#include <charconv>
#include <system_error>

#include "ptc/format/token_input.h"
#include "util/text/number_text.h"

namespace {

bool IsBlank(int c) {
    return c == ' ' || c == '\t' || c == '\r';
}

template <class T>
bool Parse(std::string_view word, T* value) {
    if (word.starts_with('+')) word.remove_prefix(1);
    const char* const last = word.data() + word.size();
    const auto [end, error] = std::from_chars(word.data(), last, *value);
    return error == std::errc() && end == last;
}

/// A float that is too large or too small for its type is infinite or zero, as everywhere in C.
bool Parse(std::string_view word, float* value) {
    double wide = 0;
    if (Parse<float>(word, value)) return true;
    if (!Parse<double>(word, &wide)) return false;
    *value = static_cast<float>(wide);
    return true;
}

bool Parse(std::string_view word, std::uint8_t* value) {
    const char* const last = word.data() + word.size();
    const auto [end, error] = std::from_chars(word.data(), last, *value, 16);
    return error == std::errc() && end == last;
}

}  // namespace

/// Takes a word that is read ahead whole, with what ends it, from where it lies. False: it is not,
/// or it is none; nothing is taken.
bool TokenInput::TakeNearWord(std::size_t longest, std::string_view* word) {
    const std::string_view text(reinterpret_cast<const char*>(room_.data()), end_);
    std::size_t begin = next_;
    while (begin < end_ && begin - next_ < kMaxLine && IsBlank(text[begin])) ++begin;
    std::size_t end = begin;
    const auto is_end = [](char c) { return c == '\n' || IsBlank(c); };
    while (end < end_ && end - begin < longest && !is_end(text[end])) ++end;
    if (end == begin || end == end_ || !is_end(text[end])) return false;
    *word = text.substr(begin, end - begin);
    next_ = end;
    return true;
}

/// Takes a word of this line; blanks before it are skipped. Valid until the next call.
bool TokenInput::TakeWord(std::array<char, 64>* room, std::string_view* word) {
    if (TakeNearWord(room->size(), word)) return true;
    int c = ' ';
    for (std::size_t blanks = 0; IsBlank(c); ++blanks) {
        if (blanks > kMaxLine) return false;
        c = NextCharacter();
    }
    std::size_t length = 0;
    for (; c >= 0 && c != '\n' && !IsBlank(c); c = NextCharacter()) {
        if (length == room->size()) return false;
        (*room)[length++] = static_cast<char>(c);
    }
    if (c >= 0) Unread();
    *word = {room->data(), length};
    return length > 0;
}

/// The key must be there over its whole length; a matrix's own newline is not part of it.
bool TokenInput::TakeKey(const char* key) {
    if (!key || !*key) return true;
    std::string_view wanted = key;
    if (wanted.ends_with('\n')) wanted.remove_suffix(1);
    std::array<char, 64> room;
    std::string_view word;
    return TakeWord(&room, &word) && word.starts_with(wanted);
}

template <class T>
bool TokenInput::TakeNumber(T* value) {
    std::array<char, 64> room;
    std::string_view word;
    return TakeWord(&room, &word) && Parse(word, value);
}

bool TokenInput::TakeLineEnd() {
    int c = ' ';
    for (std::size_t blanks = 0; IsBlank(c); ++blanks) {
        if (blanks > kMaxLine) return false;
        c = NextCharacter();
    }
    return c == '\n';
}

template <class T>
TokenStatus TokenInput::ReadOne(const char* key, T* value) {
    if (!IsText()) return ReadBytes(std::as_writable_bytes(std::span(value, 1)));
    return TakeKey(key) && TakeNumber(value) && TakeLineEnd() ? TokenStatus::kOk
                                                              : TokenStatus::kFailed;
}

TokenStatus TokenInput::ReadInt(const char* key, std::int32_t* value) {
    return ReadOne(key, value);
}

TokenStatus TokenInput::ReadByte(const char* key, std::uint8_t* value) {
    return ReadOne(key, value);
}

TokenStatus TokenInput::ReadFloat(const char* key, float* value) {
    return ReadOne(key, value);
}

TokenStatus TokenInput::ReadDouble(const char* key, double* value) {
    return ReadOne(key, value);
}

TokenStatus TokenInput::ReadInt64(const char* key, std::int64_t* value) {
    return ReadOne(key, value);
}

TokenStatus TokenInput::ReadFloats(const char* key, std::span<float> values) {
    if (!IsText()) return ReadBytes(std::as_writable_bytes(values));
    if (!TakeKey(key)) return TokenStatus::kFailed;
    for (float& value : values)
        if (!TakeNumber(&value)) return TokenStatus::kFailed;
    return TakeLineEnd() ? TokenStatus::kOk : TokenStatus::kFailed;
}

TokenStatus TokenInput::ReadMatrix(const char* key, std::span<float, 16> rows) {
    if (!IsText()) return ReadBytes(std::as_writable_bytes(rows));
    // The key's own newline and one more follow the key.
    if (!TakeKey(key) || !TakeLineEnd() || !TakeLineEnd()) return TokenStatus::kFailed;
    for (std::size_t i = 0; i < rows.size(); ++i)
        if (!TakeNumber(&rows[i]) || (i % 4 == 3 && !TakeLineEnd())) return TokenStatus::kFailed;
    return TokenStatus::kOk;
}

TokenStatus TokenInput::ReadRecord(const char* key, std::string_view format,
                                   std::span<double> values) {
    if (IsText() && !TakeKey(key)) return TokenStatus::kFailed;
    std::string_view literal;
    Conversion conversion;
    for (double& value : values) {
        if (!NextConversion(&format, &literal, &conversion)) return TokenStatus::kFailed;
        const auto read = [&](auto number) {
            const bool is_read =
                IsText() ? TakeNumber(&number)
                         : !Failed(ReadBytes(std::as_writable_bytes(std::span(&number, 1))));
            value = static_cast<double>(number);
            return is_read;
        };
        const bool is_read = conversion.letter == 'e' ? read(0.0f)
                             : conversion.is_half     ? read(std::int16_t{0})
                                                      : read(std::int32_t{0});
        if (!is_read) return TokenStatus::kFailed;
    }
    return !IsText() || TakeLineEnd() ? TokenStatus::kOk : TokenStatus::kFailed;
}
