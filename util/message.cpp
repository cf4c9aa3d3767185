// The driver's error line.

#include "util/message.h"

#include <cstdio>
#include <string>
#include <string_view>

namespace {

constexpr std::size_t kLineFormatBytes = 256;  // with the terminating zero

/// `text` as part of a printf format that prints just that.
std::string Escaped(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        escaped += c;
        if (c == '%') escaped += '%';
    }
    return escaped;
}

/// Where a conversion begins that `format` does not end, or its size when all are whole.
std::size_t UnfinishedConversion(std::string_view format) {
    constexpr std::string_view kBeforeTheLetter = "-+ #0'*.123456789$hlLqjzt";
    for (std::size_t at = 0; (at = format.find('%', at)) != std::string_view::npos;) {
        const std::size_t letter = format.find_first_not_of(kBeforeTheLetter, at + 1);
        if (letter == std::string_view::npos) return at;
        at = letter + 1;
    }
    return format.size();
}

}  // namespace

void DriverErrorV(const char* module, const char* format, std::va_list arguments) {
    if (!module || !format) return;
    std::string line = Escaped(module) + ":  " + format;
    if (line.size() >= kLineFormatBytes) {
        line.resize(kLineFormatBytes - 1);
        line.resize(UnfinishedConversion(line));
    }
    std::vfprintf(stderr, line.c_str(), arguments);
}

void DriverError(const char* module, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    DriverErrorV(module, format, arguments);
    va_end(arguments);
}
