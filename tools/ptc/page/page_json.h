// What a page says about its clouds, as JSON within HTML.
//
// Errors     throws std::bad_alloc.
// Threads    any.

#pragma once

#include <span>
#include <string>

#include "tools/ptc/page/cloud_facts.h"
#include "tools/ptc/page/page.h"

namespace page {

/// One object. It has no "<", so no text of a file ends the element that it is in.
/// `variable`: what is shown first.
std::string PageJson(const PageOptions& options, std::span<const CloudFacts> clouds,
                     const std::string& variable);

}  // namespace page
