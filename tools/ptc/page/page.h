// `ptc view` into a page: clouds with all that shows them, in one file for a browser.
//
// Each cloud is read three times: for ranges and boxes, to choose the points, to pack them. Memory
// grows with the points that are shown, 64 bytes for each at most, and not with the cloud.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/ptc/view/view.h"

namespace page {

struct PageOptions {
    view::ViewOptions view;              ///< of which size, camera and direction are not looked at
    std::uint32_t points = 1'000'000;    ///< most of each cloud
    std::string compare;                 ///< another cloud to show beside the first; empty: none
    std::vector<std::string> variables;  ///< to show, of each cloud; empty: those that fit
};

/// Makes the page and reports what is in it. Throws Failure or view::WrongUsage; then nothing is
/// written.
void MakePage(const PageOptions& options);

}  // namespace page
