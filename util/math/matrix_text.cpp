// Prints and reads matrices, and checks the format they are printed with.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>

#include "util/base/ascii.h"
#include "util/math/matrix.h"

namespace {

constexpr std::size_t kTextFormatBytes = 64;  // with the terminating zero
constinit std::array<char, kTextFormatBytes> print_format{"%18.14f "};

/// Removes at most three digits: a longer number would fill the screen with one value.
void SkipNumber(std::string_view* text) {
    for (int i = 0; i < 3 && !text->empty() && IsAsciiDigit(text->front()); ++i)
        text->remove_prefix(1);
}

/// Removes one conversion of a double, without its '%', from the front of `text`. False: there is
/// none.
bool SkipConversion(std::string_view* text) {
    text->remove_prefix(std::min(text->find_first_not_of("-+ #0"), text->size()));
    SkipNumber(text);
    if (text->starts_with('.')) {
        text->remove_prefix(1);
        SkipNumber(text);
    }
    if (text->starts_with('l')) text->remove_prefix(1);  // "%lf" is "%f"
    if (text->find_first_of("aAeEfFgG") != 0) return false;
    text->remove_prefix(1);
    return true;
}

/// Whether printf reads exactly one double for `format` and nothing else. Above all this refuses
/// "%n" and "%s", which would write to memory or read from it.
bool TakesOneDouble(std::string_view format) {
    int conversions = 0;
    while (!format.empty()) {
        const char c = format.front();
        format.remove_prefix(1);
        if (c == 0) return false;
        if (c != '%') continue;
        if (format.starts_with('%')) {
            format.remove_prefix(1);
        } else if (!SkipConversion(&format)) {
            return false;
        } else {
            ++conversions;
        }
    }
    return conversions == 1;
}

}  // namespace

bool MxSetPrintFormat(std::string_view format) {
    if (format.size() >= kTextFormatBytes || !TakesOneDouble(format)) return false;
    *std::copy(format.begin(), format.end(), print_format.begin()) = 0;
    return true;
}

void MxPrint(std::span<const float, 16> m) {
    for (std::size_t i = 0; i < 16; ++i) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // MxSetPrintFormat() has read it
        std::printf(print_format.data(), static_cast<double>(m[i]));
#pragma GCC diagnostic pop
        if (i % 4 == 3) std::putchar('\n');
    }
}

bool MxRead(std::span<float, 16> out) {
    std::array<float, 16> values{};
    for (float& value : values)
        if (std::scanf("%f", &value) != 1) return false;
    std::getchar();
    std::copy(values.begin(), values.end(), out.begin());
    return true;
}
