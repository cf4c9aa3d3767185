// Variable declarations: type names, the prefix rule and component counts.
//
// Units      components, each a 4-byte float.
// Errors     none; an unknown type counts as 0 floats; a warning goes to standard output.
// Threads    any.

#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

/// How many floats a variable of type `type` takes; nothing for a type that is not known.
///
/// KEPT: a type that only begins with a known name counts as that type ("point3" is a point).
/// Test: PtcVariables.ComponentCountFollows
///
/// A '[' anywhere multiplies by the whole number behind it, so the count may be 0 or negative;
/// beyond 32 bits it stays at the limit.
std::optional<std::int32_t> KnownComponentCount(std::string_view type);

/// The same, and 0 for an unknown type, with a warning on standard output.
std::int32_t ComponentCount(std::string_view type);

/// `base` times the whole number behind the first '[' of `type`; `base` without a '['.
/// Blanks and a sign may precede the digits; without digits the number is 0.
std::int32_t TimesArraySuffix(std::int32_t base, std::string_view type);
