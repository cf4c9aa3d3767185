// The nearest name: what someone who mistyped a word may have meant.

#pragma once

#include <string>
#include <string_view>
#include <vector>

/// The name that `word` is nearest to, the first of several: at most two letters are missing,
/// extra, other ones or swapped with their neighbours, or `word` is how the name begins. Empty:
/// none is.
std::string NearestName(std::string_view word, const std::vector<std::string>& names);
