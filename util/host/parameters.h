// A driver's parameter list: lookups by name, type and count.
//
// Units      counts in values; every value is 4 bytes, in host order, at any alignment.
// Errors     kAbsent when no entry matches; the destination is unchanged then.
// Ownership  the list and its texts belong to the caller and are borrowed during the call.
// Threads    any; a list is only read.

#pragma once

#include <cstdint>
#include <span>
#include <string_view>

/// One entry as the host passes it. `type`: 'f' float, 'i' 32-bit integer, 's' text.
struct Parameter {
    const char* name;
    char type;
    signed char count;
    const void* values;
    int byte_count;  ///< 0 or less: not given; `count` values are there then
};

enum class ParameterStatus : std::int32_t { kFound = 0, kAbsent = 4 };

/// Copies an entry of exactly 16 floats.
ParameterStatus FindMatrix(std::string_view name, std::span<float, 16> matrix,
                           std::span<const Parameter> parameters);

/// Copies an entry of exactly one float or integer as a float.
ParameterStatus FindFloat(std::string_view name, float* value,
                          std::span<const Parameter> parameters);

/// Copies an entry of floats or integers as floats, as many as fit `values`; the rest of `values`
/// is unchanged. `*count`: how many were copied.
ParameterStatus FindFloats(std::string_view name, std::span<float> values, int* count,
                           std::span<const Parameter> parameters);

/// Copies an entry of exactly one integer or float as an integer. A float is truncated and clamped
/// to the range of the integer; NaN gives 0.
ParameterStatus FindInteger(std::string_view name, int* value,
                            std::span<const Parameter> parameters);
