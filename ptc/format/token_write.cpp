// The token layer's writers: each value raw, or as a line of text.

#include <algorithm>
#include <array>
#include <cstring>

#include "ptc/format/token_file.h"

namespace {

/// A whole number by a caller's format is cut at this many characters.
constexpr std::size_t kMaxIntegerText = 253;

void AppendKey(const char* key, std::string* text) {
    if (key) text->append(key).append(1, ' ');
}

}  // namespace

template <class T>
TokenStatus TokenFile::PutRaw(const T& value) {
    return Put(std::as_bytes(std::span(&value, 1)));
}

// The head of a file is written by token_file.cpp.
template TokenStatus TokenFile::PutRaw(const std::uint32_t& value);

TokenStatus TokenFile::PutLine(const char* key, std::string_view format,
                               std::span<const Number> values) {
    text_.clear();
    AppendKey(key, &text_);
    AppendFormatted(format, values, &text_);
    return PutText(text_ += '\n');
}

TokenStatus TokenFile::WriteInt(const char* key, std::int32_t value, const char* format) {
    if (!IsText()) return PutRaw(value);
    std::string number;
    AppendFormatted(format, std::array{Number(value)}, &number);
    if (number.size() > kMaxIntegerText) number.resize(kMaxIntegerText);
    text_.clear();
    AppendKey(key, &text_);
    return PutText(text_.append(number) += '\n');
}

TokenStatus TokenFile::WriteByte(const char* key, std::uint8_t value) {
    if (!IsText()) return PutRaw(value);
    return PutLine(key, "%2x", std::array{Number(std::int32_t{value})});
}

TokenStatus TokenFile::WriteFloat(const char* key, float value, const char* format) {
    if (!IsText()) return PutRaw(value);
    return PutLine(key, format, std::array{Number(value)});
}

TokenStatus TokenFile::WriteDouble(const char* key, double value, const char* format) {
    if (!IsText()) return PutRaw(value);
    return PutLine(key, format, std::array{Number(value)});
}

TokenStatus TokenFile::WriteInt64(const char* key, std::int64_t value, const char* format) {
    if (!IsText()) return PutRaw(value);
    return PutLine(key, format, std::array{Number(value)});
}

TokenStatus TokenFile::WriteFloats(const char* key, std::span<const float> values,
                                   const char* format) {
    if (!IsText()) return Put(std::as_bytes(values));
    text_.clear();
    AppendKey(key, &text_);
    for (const float value : values) {
        text_ += ' ';
        AppendFormatted(format, std::array{Number(value)}, &text_);
    }
    return PutText(text_ += '\n');
}

TokenStatus TokenFile::WriteMatrix(const char* key, std::span<const float, 16> rows) {
    if (!IsText()) return Put(std::as_bytes(rows));
    text_.clear();
    if (key) text_.append(key).append(1, '\n');
    for (std::size_t i = 0; i < rows.size(); ++i) {
        AppendFormatted(" %13e", std::array{Number(rows[i])}, &text_);
        if (i % 4 == 3) text_ += '\n';
    }
    return PutText(text_);
}

TokenStatus TokenFile::WriteThreeFloats(const char* key, std::span<const float, 3> values) {
    if (!IsText()) return Put(std::as_bytes(values));
    return PutLine(key, "%13e %13e %13e",
                   std::array{Number(values[0]), Number(values[1]), Number(values[2])});
}

TokenStatus TokenFile::WriteRecord(const char* key, std::string_view format,
                                   std::initializer_list<Number> values) {
    if (IsText()) return PutLine(key, format, {values.begin(), values.size()});

    std::string_view literal;
    Conversion conversion;
    const Number* value = values.begin();
    for (; value != values.end() && NextConversion(&format, &literal, &conversion); ++value) {
        TokenStatus put;
        if (conversion.letter == 'e') {
            put = PutRaw(static_cast<float>(value->Real()));
        } else if (conversion.is_half) {
            put = PutRaw(static_cast<std::int16_t>(value->Whole()));
        } else {
            put = PutRaw(static_cast<std::int32_t>(value->Whole()));
        }
        if (Failed(put)) return put;
    }
    return TokenStatus::kOk;
}

TokenStatus TokenFile::WriteLine(std::string_view line) {
    text_.assign(line);
    return PutText(text_ += '\n');
}
