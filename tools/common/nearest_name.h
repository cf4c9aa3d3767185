// The nearest name: what a mistyped word may mean.

#pragma once

#include <string>
#include <string_view>
#include <vector>

/// The name that `word` is nearest to, the first of several: at most two letters are missing,
/// extra, other ones or swapped with their neighbours, or the name begins with `word`. Empty:
/// there is none.
std::string NearestName(std::string_view word, const std::vector<std::string>& names);
