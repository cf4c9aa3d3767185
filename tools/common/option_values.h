// What values the options of the command lines take: checked, shown by the help, and known to the
// completions of the shells.

#pragma once

#include <fmt/format.h>

#include <CLI/Option.hpp>
#include <CLI/TypeTools.hpp>
#include <CLI/Validators.hpp>
#include <string>
#include <type_traits>

#include "tools/common/number.h"
#include "tools/common/start.h"

/// The name of the mark of a file's name.
inline constexpr const char* kFileMark = "file";

/// Replaces a file's name by its place on this machine, as PlaceOf() does.
inline std::string ToPlace(std::string& name) {
    name = PlaceOf(name);
    return {};
}

/// For CLI::Option::transform(): marks an option or a positional whose value is a file's name, and
/// replaces the name by its place. Refuses nothing and shows nothing.
inline CLI::Validator FileName() {
    return CLI::Validator(ToPlace, "", kFileMark);
}

/// Marks a positional whose value is a file's name. The help shows the positional's own name alone.
inline CLI::Option* NamesFile(CLI::Option* positional) {
    return positional->type_name("")->transform(FileName());
}

/// Reads a value as its option does: a whole number as CLI11, which knows "+5" and "0x10", for the
/// option converts it; the others strictly.
template <class Number>
bool ParseValue(const std::string& text, Number* value) {
    if constexpr (std::is_integral_v<Number>)
        return CLI::detail::lexical_cast(text, *value);
    else
        return ParseNumber(text, value);
}

/// A number from `low` to `high`. Unlike CLI::Range it refuses "nan", for which all comparisons are
/// false.
template <class Number>
CLI::Validator Within(Number low, Number high, const std::string& what) {
    return CLI::Validator(
        [=](const std::string& text) -> std::string {
            Number value{};
            const bool is_number = ParseValue(text, &value);
            return is_number && value >= low && value <= high ? "" : "must be " + what;
        },
        what);
}

/// A whole number in a range; the help shows the range.
template <class Whole>
CLI::Validator Count(Whole low, Whole high) {
    return Within(low, high, fmt::format("{} to {}", low, high));
}
