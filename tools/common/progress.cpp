// Progress: drawing the bar, telling the listener.

#include "tools/common/progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace {

constexpr std::size_t kBarCells = 40;
/// To the line's start, then clear to its end.
constexpr const char* kEraseLine = "\r\x1b[K";

ProgressListener* current_listener = nullptr;

}  // namespace

void Progress::SetListener(ProgressListener* listener) {
    current_listener = listener;
}

Progress::Progress(std::uint64_t total, bool wanted)
    : total_(std::max<std::uint64_t>(total, 1)),
      visible_(wanted && isatty(STDERR_FILENO) == 1),
      begin_(std::chrono::steady_clock::now()) {
    if (current_listener) current_listener->BeginPass();
}

Progress::~Progress() {
    if (shown_ >= 0) std::fputs(kEraseLine, stderr);
}

void Progress::Show(std::uint64_t done) {
    if (!visible_ && !current_listener) return;
    // Through a double: a file's bytes times 100 may be more than 64 bits hold.
    const double share = static_cast<double>(std::min(done, total_)) / static_cast<double>(total_);
    if (current_listener) current_listener->ShowShare(share);
    if (!visible_) return;
    const int percent = static_cast<int>(share * 100);
    if (percent == shown_ || std::chrono::steady_clock::now() - begin_ < std::chrono::seconds(1))
        return;
    shown_ = percent;
    const std::string bar(static_cast<std::size_t>(share * kBarCells), '=');
    const std::string line = fmt::format("\r[{:<40}] {:3}%", bar, percent);
    std::fputs(line.c_str(), stderr);
}
