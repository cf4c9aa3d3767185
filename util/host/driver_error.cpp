// Prints the driver's error line.

#include <array>
#include <cstdio>
#include <string_view>

#include "util/host/message.h"
#include "util/text/format_cut.h"

namespace {

constexpr std::size_t kLineFormatBytes = 256;  // with the terminating zero

/// A printf format of bounded length. Allocates nothing: the line often says that memory ran out.
class LineFormat {
public:
    void Append(std::string_view text) {
        for (const char c : text) Append(c);
    }

    /// Appends `text` with each '%' doubled, so that the format prints `text` itself.
    void AppendEscaped(std::string_view text) {
        for (const char c : text) {
            Append(c);
            if (c == '%') Append(c);
        }
    }

    /// The format, cut so that it and its terminating zero fit and every conversion is whole.
    const char* Cut() {
        const std::string_view whole(bytes_.data(), size_);
        bytes_[CutFormat(whole, kLineFormatBytes - 1).size()] = '\0';
        return bytes_.data();
    }

private:
    void Append(char c) {
        if (size_ < kLineFormatBytes) bytes_[size_++] = c;
    }

    std::array<char, kLineFormatBytes + 1> bytes_;
    std::size_t size_ = 0;  ///< kLineFormatBytes: the text is longer than fits
};

}  // namespace

void DriverErrorV(const char* module, const char* format, std::va_list arguments) {
    if (!module || !format) return;
    LineFormat line;
    line.AppendEscaped(module);
    line.Append(":  ");
    line.Append(format);
// The caller's format, which the compiler has checked, behind text without conversions.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::vfprintf(stderr, line.Cut(), arguments);
#pragma GCC diagnostic pop
}

void DriverError(const char* module, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    DriverErrorV(module, format, arguments);
    va_end(arguments);
}
