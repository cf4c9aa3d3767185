// The page without clouds: its text before and behind them, with style and scripts in it.

#pragma once

#include <string_view>

namespace page {

extern const std::string_view kTextBefore;
extern const std::string_view kTextBehind;

}  // namespace page
