// The nearest name: the edit distance.

#include "tools/common/nearest_name.h"

#include <algorithm>
#include <cstddef>

namespace {

constexpr std::size_t kFarthest = 2;

/// How many letters have to be inserted, dropped, replaced or swapped with the next one.
std::size_t EditDistance(std::string_view a, std::string_view b) {
    // Row i, column j: between the first i letters of `a` and the first j of `b`.
    std::vector<std::vector<std::size_t>> distance(a.size() + 1,
                                                   std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i)
        for (std::size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                distance[i][j] = i + j;
                continue;
            }
            const std::size_t other = a[i - 1] == b[j - 1] ? 0 : 1;
            distance[i][j] = std::min(
                {distance[i - 1][j] + 1, distance[i][j - 1] + 1, distance[i - 1][j - 1] + other});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                distance[i][j] = std::min(distance[i][j], distance[i - 2][j - 2] + 1);
        }
    return distance[a.size()][b.size()];
}

}  // namespace

std::string NearestName(std::string_view word, const std::vector<std::string>& names) {
    std::string nearest;
    std::size_t least = kFarthest + 1;
    for (const std::string& name : names) {
        // This also keeps the table small for every word.
        if (word.size() > name.size() + kFarthest) continue;
        const bool is_beginning = word.size() > 1 && name.starts_with(word);
        const std::size_t distance = is_beginning ? 1 : EditDistance(word, name);
        // A word that differs in every letter is not a mistyped name.
        if (distance >= std::min(least, word.size())) continue;
        least = distance;
        nearest = name;
    }
    return nearest;
}
