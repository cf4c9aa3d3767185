// Lookups in a driver's parameter list.

#include "util/host/parameters.h"

#include <algorithm>
#include <cstring>

#include "util/base/number_cast.h"

namespace {

/// Value `index` of an entry of type `T`. Copies bytes, because the values may be unaligned.
template <class T>
T ValueAt(const Parameter& entry, std::size_t index) {
    static_assert(sizeof(T) == 4);
    T value;
    std::memcpy(&value, static_cast<const char*>(entry.values) + index * sizeof(T), sizeof(T));
    return value;
}

float FloatAt(const Parameter& entry, std::size_t index) {
    return entry.type == 'i' ? static_cast<float>(ValueAt<std::int32_t>(entry, index))
                             : ValueAt<float>(entry, index);
}

/// The first entry with this name, one of `types` and `count` values, or any number above 0 if
/// `count` is 0; null when there is none. Entries of this name that do not match, or that have
/// fewer bytes than their count needs, are skipped.
const Parameter* Find(std::string_view name, std::string_view types, int count,
                      std::span<const Parameter> parameters) {
    const auto matches = [&](const Parameter& entry) {
        if (!entry.name || !entry.values || name != entry.name) return false;
        if (types.find(entry.type) == std::string_view::npos) return false;
        if (count ? entry.count != count : entry.count < 1) return false;
        return entry.byte_count <= 0 || entry.byte_count >= 4 * entry.count;
    };
    const auto found = std::find_if(parameters.begin(), parameters.end(), matches);
    return found == parameters.end() ? nullptr : &*found;
}

}  // namespace

ParameterStatus FindMatrix(std::string_view name, std::span<float, 16> matrix,
                           std::span<const Parameter> parameters) {
    const Parameter* entry = Find(name, "f", 16, parameters);
    if (!entry) return ParameterStatus::kAbsent;
    std::memcpy(matrix.data(), entry->values, matrix.size_bytes());
    return ParameterStatus::kFound;
}

ParameterStatus FindFloat(std::string_view name, float* value,
                          std::span<const Parameter> parameters) {
    const Parameter* entry = Find(name, "fi", 1, parameters);
    if (!entry) return ParameterStatus::kAbsent;
    *value = FloatAt(*entry, 0);
    return ParameterStatus::kFound;
}

ParameterStatus FindFloats(std::string_view name, std::span<float> values, int* count,
                           std::span<const Parameter> parameters) {
    const Parameter* entry = Find(name, "fi", 0, parameters);
    if (!entry) return ParameterStatus::kAbsent;
    const std::size_t both = std::min(values.size(), static_cast<std::size_t>(entry->count));
    for (std::size_t i = 0; i < both; ++i) values[i] = FloatAt(*entry, i);
    *count = static_cast<int>(both);
    return ParameterStatus::kFound;
}

ParameterStatus FindInteger(std::string_view name, int* value,
                            std::span<const Parameter> parameters) {
    const Parameter* entry = Find(name, "fi", 1, parameters);
    if (!entry) return ParameterStatus::kAbsent;
    *value = entry->type == 'i' ? ValueAt<std::int32_t>(*entry, 0)
                                : ClampToInt32(ValueAt<float>(*entry, 0));
    return ParameterStatus::kFound;
}
