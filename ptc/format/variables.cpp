// Variable declarations.

#include "ptc/format/variables.h"

#include <algorithm>
#include <cstdio>
#include <limits>

namespace {

struct KnownType {
    std::string_view name;
    std::int32_t components;
};

constexpr KnownType kKnownTypes[] = {
    {"float", 1}, {"color", 3}, {"point", 3}, {"vector", 3}, {"normal", 3}, {"matrix", 16},
};

constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int32_t>::min();

bool IsBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// The number that `text` begins with, held within 32 bits; 0 when it begins with none.
std::int64_t LeadingInteger(std::string_view text) {
    while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
    const bool negative = !text.empty() && text.front() == '-';
    if (negative || (!text.empty() && text.front() == '+')) text.remove_prefix(1);

    std::int64_t value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') break;
        value = std::min(value * 10 + (c - '0'), kMost + 1);
    }
    return std::clamp(negative ? -value : value, kLeast, kMost);
}

}  // namespace

std::int32_t TimesArraySuffix(std::int32_t base, std::string_view type) {
    const std::size_t bracket = type.find('[');
    if (bracket == std::string_view::npos) return base;
    const std::int64_t product = base * LeadingInteger(type.substr(bracket + 1));
    return static_cast<std::int32_t>(std::clamp(product, kLeast, kMost));
}

std::optional<std::int32_t> KnownComponentCount(std::string_view type) {
    for (const KnownType& known : kKnownTypes)
        if (type.starts_with(known.name)) return TimesArraySuffix(known.components, type);
    return std::nullopt;
}

std::int32_t ComponentCount(std::string_view type) {
    if (const auto known = KnownComponentCount(type)) return *known;
    std::printf("Unknown type '%.*s' !?\n", static_cast<int>(type.size()), type.data());
    return 0;
}
