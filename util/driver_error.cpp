// The driver's error line.

#include <cstdio>
#include <string>
#include <string_view>

#include "util/format_cut.h"
#include "util/message.h"

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

}  // namespace

void DriverErrorV(const char* module, const char* format, std::va_list arguments) {
    if (!module || !format) return;
    const std::string whole = Escaped(module) + ":  " + format;
    const std::string line(CutFormat(whole, kLineFormatBytes - 1));
// The caller's own format, which the attribute of this function has checked, behind literal text.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::vfprintf(stderr, line.c_str(), arguments);
#pragma GCC diagnostic pop
}

void DriverError(const char* module, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    DriverErrorV(module, format, arguments);
    va_end(arguments);
}
