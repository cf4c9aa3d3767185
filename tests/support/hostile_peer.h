// HostilePeer: a program at the other end of a connection, as bad as a test wants it.
//
// Units      bytes.
// Errors     a port that cannot be had fails the test.
// Ownership  owns its sockets and its thread, which ends with the object.
// Threads    the counts and the text from any thread.

#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

class HostilePeer {
public:
    enum class Manner {
        kReads,
        kNeverAccepts,  ///< and its queue is full, so that the system answers nothing
        kNeverReads,
        kSendsWithoutEnd,
        kClosesAtOnce,
        kResets,
        kSendsSlowly,  ///< a byte at a time, and reads as slowly
        kBreaks,       ///< reads 100 KB, then closes with more to read
        kRefuses,
    };

    /// Behind the text of each connection, for kBreaks.
    static constexpr char kBreak = '|';

    explicit HostilePeer(Manner manner) : manner_(manner) {
        listening_ = Socket();
        sockaddr_in address = Loopback(0);
        EXPECT_EQ(::bind(listening_, As(&address), sizeof address), 0);
        socklen_t bytes = sizeof address;
        EXPECT_EQ(::getsockname(listening_, As(&address), &bytes), 0);
        port_ = ntohs(address.sin_port);
        if (manner == Manner::kRefuses) return;  // bound, so that no other program gets the port
        EXPECT_EQ(::listen(listening_, manner == Manner::kNeverAccepts ? 0 : 8), 0);
        if (manner != Manner::kNeverAccepts) {
            thread_ = std::jthread([this](const std::stop_token& stop) { Serve(stop); });
            return;
        }
        for (int& filler : fillers_) {
            filler = Socket();
            address = Loopback(port_);
            (void)::connect(filler, As(&address), sizeof address);
        }
    }
    ~HostilePeer() {
        if (thread_.joinable()) {
            thread_.request_stop();
            thread_.join();
        }
        for (const int filler : fillers_)
            if (filler >= 0) ::close(filler);
        ::close(listening_);
    }
    HostilePeer(const HostilePeer&) = delete;
    HostilePeer& operator=(const HostilePeer&) = delete;

    std::uint16_t Port() const { return port_; }
    int Connections() const { return connections_; }
    std::int64_t BytesSent() const { return sent_; }

    /// What has been read on all connections.
    std::string Text() const {
        const std::lock_guard hold(lock_);
        return text_;
    }

private:
    static int Socket() { return ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0); }
    static sockaddr_in Loopback(std::uint16_t port) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return address;
    }
    static sockaddr* As(sockaddr_in* address) { return reinterpret_cast<sockaddr*>(address); }

    /// One connection after the other, each until the peer or the test ends it.
    void Serve(const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            pollfd waiting = {listening_, POLLIN, 0};
            if (::poll(&waiting, 1, 5) <= 0) continue;
            const int peer = ::accept4(listening_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
            if (peer < 0) continue;
            connections_ += 1;
            left_ = 100'000;
            const linger reset = {1, 0};
            const int small = 1 << 16;
            (void)::setsockopt(peer, SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
            if (manner_ == Manner::kResets)
                (void)::setsockopt(peer, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
            if (manner_ != Manner::kResets && manner_ != Manner::kClosesAtOnce)
                while (!stop.stop_requested() && Turn(peer)) {
                }
            ::close(peer);
            const std::lock_guard hold(lock_);
            if (manner_ == Manner::kBreaks) text_ += kBreak;
        }
    }

    /// False when the connection has ended.
    bool Turn(int peer) {
        std::array<char, 65536> block = {};
        if (manner_ == Manner::kSendsWithoutEnd || manner_ == Manner::kSendsSlowly) {
            const bool is_slow = manner_ == Manner::kSendsSlowly;
            const ssize_t sent =
                ::send(peer, block.data(), is_slow ? 1 : block.size(), MSG_NOSIGNAL);
            if (sent < 0 && errno != EAGAIN) return false;
            if (sent > 0) sent_ += sent;
            if (sent <= 0 || is_slow) std::this_thread::sleep_for(std::chrono::milliseconds(5));
            if (is_slow) return Read(peer, block.data(), 1);
            return true;
        }
        const bool reads = manner_ == Manner::kReads || manner_ == Manner::kBreaks;
        pollfd waiting = {peer, static_cast<short>(reads ? POLLIN : 0), 0};
        if (::poll(&waiting, 1, 5) <= 0) return true;
        return reads && Read(peer, block.data(), block.size()) &&
               (manner_ != Manner::kBreaks || left_ > 0);
    }

    bool Read(int peer, char* to, std::size_t most) {
        const ssize_t got = ::recv(peer, to, most, 0);
        if (got < 0) return errno == EAGAIN;
        const std::lock_guard hold(lock_);
        text_.append(to, static_cast<std::size_t>(got));
        left_ -= got;
        return got > 0;
    }

    const Manner manner_;
    int listening_ = -1;
    std::uint16_t port_ = 0;
    std::int64_t left_ = 0;  ///< the thread's own: what it still reads on this connection
    std::array<int, 4> fillers_ = {-1, -1, -1, -1};
    std::atomic<int> connections_{0};
    std::atomic<std::int64_t> sent_{0};
    mutable std::mutex lock_;  // guards text_
    std::string text_;
    std::jthread thread_;
};
