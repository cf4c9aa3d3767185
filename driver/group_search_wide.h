// The search in groups for processors that compute with eight floats in one register.
//
// Threads    any, for different groups.

#pragma once

#include <memory>

#include "driver/group_search.h"

#if defined(__x86_64__)
namespace group_search_wide {

/// Caller: the processor has AVX2.
std::unique_ptr<GroupSearch> Make(const GroupSearch::Parts& parts);

}  // namespace group_search_wide
#endif
