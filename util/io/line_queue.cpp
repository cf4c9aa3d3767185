// LineQueue: keeping, dropping, waking.

#include "util/io/line_queue.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <new>
#include <system_error>
#include <utility>

namespace {

int MakeWakeDescriptor() {
    const int descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (descriptor < 0) throw std::system_error(errno, std::generic_category());
    return descriptor;
}

}  // namespace

LineQueue::LineQueue(const ClientPortLimits& limits)
    : limits_(limits), wake_(MakeWakeDescriptor()) {}

LineQueue::~LineQueue() {
    ::close(wake_);
}

void LineQueue::Add(std::string_view line) noexcept {
    bool is_kept = false;
    try {
        const bool is_line = !line.empty() && line.size() <= limits_.line_bytes &&
                             line.find_first_of(std::string_view("\n\0", 2)) == line.npos;
        std::string text;
        if (is_line) text.append(line).append("\n");
        const std::lock_guard hold(lock_);
        counts_.sent += 1;
        is_kept = is_line && !is_finishing_;
        if (is_kept) {
            bytes_ += text.size();
            lines_.push_back(std::move(text));
            DropOldest();
        } else {
            counts_.dropped += 1;
        }
    } catch (const std::bad_alloc&) {
        const std::lock_guard hold(lock_);
        counts_.sent += 1;
        counts_.dropped += 1;
    }
    if (is_kept) Wake();
}

ClientPortCounts LineQueue::Counts() const {
    const std::lock_guard hold(lock_);
    return counts_;
}

void LineQueue::Finish() {
    is_finishing_ = true;
    Wake();
    {
        std::unique_lock hold(lock_);
        const Clock::time_point last = Clock::now() + limits_.farewell;
        while (!has_ended_) {
            Clock::time_point until = last;
            if (waiting_since_) until = std::min(last, *waiting_since_ + limits_.patience);
            if (Clock::now() >= until) break;
            // The peer may answer meanwhile, so the end is worked out again.
            ended_.wait_until(hold, until);
        }
    }
    is_abandoned_ = true;
    Wake();
}

void LineQueue::TakeWake() {
    std::uint64_t times = 0;
    // Nothing to read means that another wait has taken it.
    [[maybe_unused]] const ssize_t taken = ::read(wake_, &times, sizeof times);
}

std::optional<std::string> LineQueue::Take() {
    const std::lock_guard hold(lock_);
    if (lines_.empty()) return std::nullopt;
    std::optional<std::string> line(std::move(lines_.front()));
    lines_.pop_front();
    bytes_ -= line->size();
    return line;
}

bool LineQueue::IsEmpty() const {
    const std::lock_guard hold(lock_);
    return lines_.empty();
}

void LineQueue::PutBack(std::deque<std::string> lines) {
    const std::lock_guard hold(lock_);
    for (; !lines.empty(); lines.pop_back()) {
        bytes_ += lines.back().size();
        lines_.push_front(std::move(lines.back()));
    }
    DropOldest();
}

void LineQueue::CountDelivered(std::size_t lines) {
    const std::lock_guard hold(lock_);
    counts_.delivered += lines;
}

void LineQueue::SetWaiting(bool is_waiting) {
    const std::lock_guard hold(lock_);
    if (!is_waiting)
        waiting_since_.reset();
    else if (!waiting_since_)
        waiting_since_ = Clock::now();
}

void LineQueue::End() {
    const std::lock_guard hold(lock_);
    has_ended_ = true;
    ended_.notify_all();
}

void LineQueue::Wake() {
    const std::uint64_t once = 1;
    // A full counter wakes the thread as well.
    [[maybe_unused]] const ssize_t written = ::write(wake_, &once, sizeof once);
}

/// The newest tell how a run stands and how it ended, so the oldest go. Caller: holds the lock.
void LineQueue::DropOldest() {
    while (lines_.size() > limits_.lines || bytes_ > limits_.bytes) {
        bytes_ -= lines_.front().size();
        lines_.pop_front();
        counts_.dropped += 1;
    }
}
