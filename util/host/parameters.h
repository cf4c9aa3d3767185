// A driver's parameter list: lookups by name, type and count.
//
// Units      counts in values; every value is 4 bytes, in host order, at any alignment.
// Errors     kAbsent when no entry matches; the destination is untouched then.
// Ownership  the list and its texts belong to the caller, who keeps them through the call.
// Threads    any; a list is only read.

#pragma once

#include <cstdint>
#include <span>
#include <string_view>

/// One entry as the host hands it over. `type`: 'f' float, 'i' 32-bit integer, 's' text.
struct Parameter {
    const char* name;
    char type;
    signed char count;
    const void* values;
    int byte_count;  ///< 0 or less: not given, and taken as what `count` needs
};

enum class ParameterStatus : std::int32_t { kFound = 0, kAbsent = 4 };

/// 16 floats from an entry of exactly 16 floats.
ParameterStatus FindMatrix(std::string_view name, std::span<float, 16> matrix,
                           std::span<const Parameter> parameters);

/// One float from an entry of exactly one float or integer.
ParameterStatus FindFloat(std::string_view name, float* value,
                          std::span<const Parameter> parameters);

/// As many floats as `values` and the entry of floats or integers both have; the rest of `values`
/// is untouched. `*count`: how many were copied.
ParameterStatus FindFloats(std::string_view name, std::span<float> values, int* count,
                           std::span<const Parameter> parameters);

/// One integer from an entry of exactly one integer or float; a float is truncated, clamped to
/// the integer's range, and 0 when it is no number.
ParameterStatus FindInteger(std::string_view name, int* value,
                            std::span<const Parameter> parameters);
