// LineConnection: the socket.

#include "util/io/line_connection.h"

#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace {

/// The system's own buffers are some MB; a peer that reads nothing, or sends without an end, shall
/// not fill these.
constexpr int kSocketBytes = 64 << 10;
constexpr int kUnreadBytes = 4 << 10;

/// After so long without an acknowledgement the connection counts as broken.
constexpr unsigned kSilenceMilliseconds = 10'000;

template <class Value>
void Set(int descriptor, int level, int name, Value value) {
    // The connection works without any of these.
    (void)::setsockopt(descriptor, level, name, &value, sizeof value);
}

bool IsForLater(int error) {
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

}  // namespace

LineConnection::~LineConnection() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

bool LineConnection::Begin(const sockaddr* address, socklen_t bytes) {
    descriptor_ = ::socket(address->sa_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor_ < 0) return false;
    Set(descriptor_, SOL_SOCKET, SO_SNDBUF, kSocketBytes);
    Set(descriptor_, SOL_SOCKET, SO_RCVBUF, kUnreadBytes);
    Set(descriptor_, SOL_SOCKET, SO_KEEPALIVE, 1);
    Set(descriptor_, IPPROTO_TCP, TCP_NODELAY, 1);
    Set(descriptor_, IPPROTO_TCP, TCP_USER_TIMEOUT, kSilenceMilliseconds);
    is_finished_ = false;
    written_ = end_ = 0;
    return ::connect(descriptor_, address, bytes) == 0 || errno == EINPROGRESS;
}

bool LineConnection::IsMade() const {
    int error = 0;
    socklen_t bytes = sizeof error;
    return ::getsockopt(descriptor_, SOL_SOCKET, SO_ERROR, &error, &bytes) == 0 && error == 0;
}

void LineConnection::Add(std::string line) {
    const std::uint64_t end = end_ + line.size();
    lines_.push_back({std::move(line), end});
    end_ = end;
}

bool LineConnection::Write() {
    while (HasUnwritten()) {
        const std::string& text = lines_.back().text;
        const std::size_t left = end_ - written_;
        const ssize_t taken =
            ::send(descriptor_, text.data() + (text.size() - left), left, MSG_NOSIGNAL);
        if (taken < 0) return IsForLater(errno);
        written_ += static_cast<std::uint64_t>(taken);
    }
    return true;
}

void LineConnection::FinishWriting() {
    if (!is_finished_) (void)::shutdown(descriptor_, SHUT_WR);
    is_finished_ = true;
}

bool LineConnection::ReadAway(std::size_t* bytes) const {
    std::array<char, 4096> ignored;
    const ssize_t got = ::recv(descriptor_, ignored.data(), ignored.size(), 0);
    *bytes = got > 0 ? static_cast<std::size_t>(got) : 0;
    return got > 0 || (got < 0 && IsForLater(errno));
}

std::size_t LineConnection::TakeAcknowledged() {
    if (lines_.empty()) return 0;
    int left = 0;
    if (::ioctl(descriptor_, SIOCOUTQ, &left) != 0 || left < 0) return 0;
    // What FinishWriting() has sent counts as a byte, so the last line may be forgotten late.
    const std::uint64_t arrived = written_ - std::min<std::uint64_t>(written_, unsigned(left));
    std::size_t count = 0;
    for (; !lines_.empty() && lines_.front().end <= arrived; ++count) lines_.pop_front();
    return count;
}

std::deque<std::string> LineConnection::Close() {
    if (descriptor_ >= 0) ::close(descriptor_);
    descriptor_ = -1;
    std::deque<std::string> texts;
    for (Line& line : lines_) texts.push_back(std::move(line.text));
    lines_.clear();
    written_ = end_ = 0;
    return texts;
}
