// Progress: drawing the bar.

#include "tools/bake/progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace bake {

namespace {

constexpr std::uint64_t kBarCells = 40;
/// To the line's start, then clear to its end.
constexpr const char* kEraseLine = "\r\x1b[K";

}  // namespace

Progress::Progress(std::uint64_t total, bool wanted)
    : total_(std::max<std::uint64_t>(total, 1)), visible_(wanted && isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
    if (visible_) std::fputs(kEraseLine, stderr);
}

void Progress::Show(std::uint64_t done) {
    if (!visible_) return;
    const std::string bar(done * kBarCells / total_, '=');
    const std::string line = fmt::format("\r[{:<40}] {:3}%", bar, done * 100 / total_);
    std::fputs(line.c_str(), stderr);
}

}  // namespace bake
