// The search in groups for processors that compute with eight floats in one register.

#include "driver/group_search_wide.h"

#if defined(__x86_64__)

#include <immintrin.h>

#include <algorithm>
#include <bit>

// Only what is defined from here on is compiled for these processors.
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2")
#endif

namespace group_search_wide {
namespace {

using Eight = __m256;

inline Eight All(float value) {
    return _mm256_set1_ps(value);
}
inline Eight Load(const float* values) {
    return _mm256_loadu_ps(values);
}
inline void Store(Eight from, float* to) {
    _mm256_storeu_ps(to, from);
}
/// The second one where a lane of either is NaN.
inline Eight Smaller(Eight a, Eight b) {
    return _mm256_min_ps(a, b);
}
inline Eight Larger(Eight a, Eight b) {
    return _mm256_max_ps(a, b);
}
/// Bit i: lane i is at most `limit`. Never so for a NaN.
inline unsigned AtMost(Eight values, float limit) {
    return static_cast<unsigned>(_mm256_movemask_ps(_mm256_cmp_ps(values, All(limit), _CMP_LE_OQ)));
}
inline unsigned Below(Eight values, float limit) {
    return static_cast<unsigned>(_mm256_movemask_ps(_mm256_cmp_ps(values, All(limit), _CMP_LT_OQ)));
}
/// NaN in the first `count` lanes.
inline Eight HideFirst(Eight values, std::uint32_t count) {
    static constexpr std::int32_t kHidden[16] = {-1, -1, -1, -1, -1, -1, -1, -1};
    return _mm256_or_ps(values, Load(reinterpret_cast<const float*>(kHidden + 8 - count)));
}
/// NaN in one lane.
inline Eight HideLane(Eight values, std::uint32_t lane) {
    static constexpr std::int32_t kHidden[15] = {0, 0, 0, 0, 0, 0, 0, -1};
    return _mm256_or_ps(values, Load(reinterpret_cast<const float*>(kHidden + 7 - lane)));
}
/// NaN where `other` is.
inline Eight HideWhereNaN(Eight values, Eight other) {
    return _mm256_or_ps(values, _mm256_cmp_ps(other, other, _CMP_UNORD_Q));
}
/// The lowest number, infinity if there is none.
inline float Lowest(Eight values) {
    values = Smaller(values, All(std::numeric_limits<float>::infinity()));
    __m128 four = _mm_min_ps(_mm256_castps256_ps128(values), _mm256_extractf128_ps(values, 1));
    four = _mm_min_ps(four, _mm_movehl_ps(four, four));
    return _mm_cvtss_f32(_mm_min_ss(four, _mm_shuffle_ps(four, four, 1)));
}
inline float Highest(Eight values) {
    values = Larger(values, All(-std::numeric_limits<float>::infinity()));
    __m128 four = _mm_max_ps(_mm256_castps256_ps128(values), _mm256_extractf128_ps(values, 1));
    four = _mm_max_ps(four, _mm_movehl_ps(four, four));
    return _mm_cvtss_f32(_mm_max_ss(four, _mm_shuffle_ps(four, four, 1)));
}
/// Moves the lanes of a mask to the front. Writes all eight.
template <class Number>
void Pack(const Number* from, unsigned mask, Number* to) {
    static_assert(sizeof(Number) == 4);
    const auto* const list = reinterpret_cast<const __m128i*>(lanes::kLanesOf[mask].data());
    const __m256i order = _mm256_cvtepu8_epi32(_mm_loadl_epi64(list));
    const __m256i eight = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), _mm256_permutevar8x32_epi32(eight, order));
}

#include "driver/group_search_code.h"
// Needs the class above.
#include "driver/group_neighbours_code.h"

}  // namespace

std::unique_ptr<GroupSearch> Make(const GroupSearch::Parts& parts) {
    return std::make_unique<Search>(parts);
}

}  // namespace group_search_wide

#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif

#endif
