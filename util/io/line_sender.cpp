// LineSender: the loop.

#include "util/io/line_sender.h"

#include <netdb.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <thread>
#include <utility>

namespace {

/// A peer that sends without an end is read at 40 KB a second, which takes no time to speak of.
constexpr std::chrono::milliseconds kReadPause{100};

/// How often acknowledgements are looked for: there is no event for them.
constexpr std::chrono::milliseconds kAcknowledgePause{50};
constexpr std::chrono::milliseconds kFarewellPause{1};

struct FreeAddresses {
    void operator()(addrinfo* first) const { freeaddrinfo(first); }
};
using Addresses = std::unique_ptr<addrinfo, FreeAddresses>;

/// May take as long as the system's resolver likes. Null: nothing was found.
Addresses Resolve(const HostPort& where) {
    addrinfo wanted = {};
    wanted.ai_family = AF_UNSPEC;
    wanted.ai_socktype = SOCK_STREAM;
    wanted.ai_flags = AI_NUMERICSERV;
    addrinfo* first = nullptr;
    const int error =
        getaddrinfo(where.host.c_str(), std::to_string(where.port).c_str(), &wanted, &first);
    return Addresses(error == 0 ? first : nullptr);
}

}  // namespace

void LineSender::Run() {
    while (AwaitLine()) {
        // An attempt that begins after the end is the last one.
        const bool is_last = queue_.IsFinishing();
        const Attempt attempt = Connect();
        if (attempt == Attempt::kMade) Serve();
        if (is_last || queue_.IsAbandoned()) return;
        Pause();
        if (attempt == Attempt::kSilent && queue_.IsFinishing()) return;
    }
}

/// Nothing is connected before there is a line. False: there will be none.
bool LineSender::AwaitLine() {
    while (queue_.IsEmpty()) {
        if (queue_.IsFinishing()) return false;
        Wait(-1, 0, Clock::time_point::max());
    }
    return !queue_.IsAbandoned();
}

LineSender::Attempt LineSender::Connect() {
    queue_.SetWaiting(true);
    const Addresses addresses = Resolve(where_);
    Attempt result = Attempt::kRefused;
    for (const addrinfo* at = addresses.get(); at && !queue_.IsAbandoned(); at = at->ai_next) {
        const Attempt attempt =
            connection_.Begin(at->ai_addr, at->ai_addrlen) ? AwaitConnection() : Attempt::kRefused;
        if (attempt != Attempt::kRefused) result = attempt;
        if (attempt == Attempt::kMade) break;
        (void)connection_.Close();  // has no lines yet
    }
    queue_.SetWaiting(false);
    return result;
}

LineSender::Attempt LineSender::AwaitConnection() {
    const Clock::time_point until = Clock::now() + limits_.connect;
    while (Clock::now() < until && !queue_.IsAbandoned())
        if (Wait(connection_.Descriptor(), POLLOUT, until) != 0)
            return connection_.IsMade() ? Attempt::kMade : Attempt::kRefused;
    return Attempt::kSilent;
}

/// Writes lines until there will be none, or the connection breaks.
void LineSender::Serve() {
    read_again_ = {};
    while (Exchange()) {
    }
    TakeAcknowledged();
    // A close with unread bytes would tell the peer to throw away what it has not read.
    std::size_t ignored = 0;
    (void)connection_.ReadAway(&ignored);
    queue_.PutBack(connection_.Close());
    queue_.SetWaiting(false);
}

/// One turn: what can be written, then a wait for the next reason to look. False: done, or broken.
bool LineSender::Exchange() {
    if (!WriteLines()) return false;
    TakeAcknowledged();
    const bool is_finishing = queue_.IsFinishing();
    if (is_finishing && !connection_.HasUnwritten() && queue_.IsEmpty()) {
        connection_.FinishWriting();
        if (!connection_.HasUnacknowledged()) return false;
    }
    if (queue_.IsAbandoned()) return false;

    const Clock::time_point now = Clock::now();
    const bool may_read = now >= read_again_;
    Clock::time_point until = Clock::time_point::max();
    if (connection_.HasUnacknowledged())
        until = now + (is_finishing ? kFarewellPause : kAcknowledgePause);
    if (!may_read) until = std::min(until, read_again_);
    const int events = (connection_.HasUnwritten() ? POLLOUT : 0) | (may_read ? POLLIN : 0);
    const short seen = Wait(connection_.Descriptor(), static_cast<short>(events), until);
    if ((seen & POLLIN) != 0) {
        std::size_t bytes = 0;
        if (!connection_.ReadAway(&bytes)) return false;
        if (bytes > 0) read_again_ = Clock::now() + kReadPause;
    }
    return (seen & (POLLERR | POLLHUP | POLLNVAL)) == 0;
}

bool LineSender::WriteLines() {
    if (!connection_.Write()) return false;
    while (!connection_.HasUnwritten()) {
        std::optional<std::string> line = queue_.Take();
        if (!line) break;
        connection_.Add(std::move(*line));
        if (!connection_.Write()) return false;
    }
    return true;
}

void LineSender::TakeAcknowledged() {
    const std::size_t count = connection_.TakeAcknowledged();
    if (count > 0) {
        queue_.CountDelivered(count);
        queue_.SetWaiting(false);
        pause_ = limits_.first_pause;
    }
    queue_.SetWaiting(connection_.HasUnacknowledged());
}

/// Between two attempts. The end of the run ends it early.
void LineSender::Pause() {
    const Clock::time_point until = Clock::now() + pause_;
    pause_ = std::min(2 * pause_, limits_.longest_pause);
    while (Clock::now() < until && !queue_.IsFinishing()) Wait(-1, 0, until);
}

/// What `descriptor` is ready for; 0 when the queue or the clock has ended the wait.
short LineSender::Wait(int descriptor, short events, Clock::time_point until) {
    std::array<pollfd, 2> both = {
        {{queue_.WakeDescriptor(), POLLIN, 0}, {descriptor, events, 0}}};  // below 0: not looked at
    int limit = -1;
    if (until != Clock::time_point::max())
        limit = static_cast<int>(std::max<std::int64_t>(
            0, std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count()));
    if (::poll(both.data(), both.size(), limit) < 0) {
        // The system is short of memory, for a while.
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        return 0;
    }
    if (both[0].revents != 0) queue_.TakeWake();
    return both[1].revents;
}
