// Timing work in rounds.

#pragma once

#include <algorithm>
#include <chrono>
#include <functional>
#include <vector>

inline double Seconds(const std::function<void()>& work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/// Of what was measured in some rounds.
struct Rate {
    double best = 0;
    double median = 0;
};

inline Rate RateOf(std::vector<double> rates) {
    std::sort(rates.begin(), rates.end());
    return {rates.back(), rates[rates.size() / 2]};
}
