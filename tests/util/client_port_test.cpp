// ClientPort: what arrives, and that no peer, line or resolver makes the caller wait.

#include "util/io/client_port.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/hostile_peer.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using Manner = HostilePeer::Manner;

/// A name that no resolver answers before the test lets it.
constexpr const char* kHangingName = "hangs.invalid";
std::atomic<bool> let_go{false};
std::atomic<bool> has_gone{false};

/// The farewell, and what a busy machine and a sanitizer add to it.
constexpr milliseconds kEnd{1000};

double Milliseconds(Clock::duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

/// True as soon as `holds()` is.
template <class Condition>
bool Soon(Condition holds) {
    const Clock::time_point until = Clock::now() + std::chrono::seconds(20);
    while (!holds() && Clock::now() < until) std::this_thread::sleep_for(milliseconds(2));
    return holds();
}

std::set<int> OpenNumbers() {
    std::set<int> open;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int descriptor = std::stoi(entry.path().filename().string());
        if (fcntl(descriptor, F_GETFD) >= 0) open.insert(descriptor);
    }
    return open;
}

}  // namespace

extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* hints,
                           addrinfo** result) {
    static const auto system =
        reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
    if (std::string(name) != kHangingName) return system(name, service, hints, result);
    let_go.wait(false);
    has_gone = true;
    return EAI_AGAIN;
}

struct AddressCase {
    std::string text;
    std::string host;  ///< empty: refused
    int port;
};

TEST(HostPort, TakesOneFormOnly) {
    const std::string long_name(254, 'a');
    const std::vector<AddressCase> cases = {
        {"farm-1.studio_a:9000", "farm-1.studio_a", 9000},
        {"10.0.0.1:1", "10.0.0.1", 1},
        {"[::1]:65535", "::1", 65535},
        {"[fe80::1%eth0]:80", "fe80::1%eth0", 80},
        {"", "", 0},
        {":", "", 0},
        {"host", "", 0},
        {"host:", "", 0},
        {":80", "", 0},
        {"host:http", "", 0},
        {"host:0", "", 0},
        {"host:080", "", 0},
        {"host:65536", "", 0},
        {"host:99999999999999999999", "", 0},
        {"host:-1", "", 0},
        {"host:+1", "", 0},
        {"host: 1", "", 0},
        {"host:1 ", "", 0},
        {"host:1\n", "", 0},
        {std::string("host:1\0", 7), "", 0},
        {std::string("ho\0st:1", 7), "", 0},
        {"ho st:1", "", 0},
        {"h\xc3\xb6st:1", "", 0},
        {"-host:1", "", 0},
        {"::1:80", "", 0},
        {"[::1]80", "", 0},
        {"[::1:80", "", 0},
        {"::1]:80", "", 0},
        {"[]:80", "", 0},
        {"[host]:80", "", 0},
        {"[10.0.0.1]:80", "", 0},
        {"[::1%]:80", "", 0},
        {"[::1%/etc]:80", "", 0},
        {std::string("[::1\0]:80", 9), "", 0},
        {"http://host:80", "", 0},
        {long_name + ":80", "", 0},
    };
    for (const AddressCase& one : cases) {
        SCOPED_TRACE(one.text);
        const std::optional<HostPort> read = ParseHostPort(one.text);
        ASSERT_EQ(read.has_value(), !one.host.empty());
        if (!read) continue;
        EXPECT_EQ(read->host, one.host);
        EXPECT_EQ(read->port, one.port);
        EXPECT_EQ(read->Text(), one.text);
    }
}

struct PeerCase {
    const char* name;
    Manner manner;
    int least;  ///< of 20 lines that must be delivered
    int most;   ///< 20, or 0 where none can be
};

class ClientPortPeer : public testing::TestWithParam<PeerCase> {};

TEST_P(ClientPortPeer, NeverDelaysTheCaller) {
    const HostilePeer peer(GetParam().manner);
    const HostPort where{"127.0.0.1", peer.Port()};
    ClientPortCounts counts;
    Clock::duration longest_send{}, end{};
    {
        ClientPort port(where, {.first_pause = milliseconds(20)});
        port.Start();
        for (int i = 0; i < 20; ++i) {
            const Clock::time_point before = Clock::now();
            port.Send("line " + std::to_string(i));
            longest_send = std::max(longest_send, Clock::now() - before);
            std::this_thread::sleep_for(milliseconds(20));
        }
        const Clock::time_point before = Clock::now();
        port.Finish();
        end = Clock::now() - before;
        counts = port.Counts();
    }
    EXPECT_LT(Milliseconds(longest_send), Milliseconds(kEnd));
    EXPECT_LT(Milliseconds(end), Milliseconds(kEnd));
    EXPECT_EQ(counts.sent, 20u);
    EXPECT_GE(counts.delivered, static_cast<std::uint64_t>(GetParam().least));
    EXPECT_LE(counts.delivered, static_cast<std::uint64_t>(GetParam().most));
    EXPECT_LT(peer.BytesSent(), 1 << 20) << "read without a bound";
    // Connects again, but not in a hurry.
    EXPECT_LE(peer.Connections(), 20);
}

INSTANTIATE_TEST_SUITE_P(
    Manners, ClientPortPeer,
    testing::Values(PeerCase{"Reads", Manner::kReads, 20, 20},
                    PeerCase{"NeverAccepts", Manner::kNeverAccepts, 0, 0},
                    PeerCase{"NeverReads", Manner::kNeverReads, 20, 20},  // its system takes them
                    PeerCase{"SendsWithoutEnd", Manner::kSendsWithoutEnd, 20, 20},
                    PeerCase{"ClosesAtOnce", Manner::kClosesAtOnce, 0, 20},
                    PeerCase{"Resets", Manner::kResets, 0, 20},
                    PeerCase{"SendsSlowly", Manner::kSendsSlowly, 20, 20},
                    PeerCase{"Refuses", Manner::kRefuses, 0, 0}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST(ClientPort, ALineArrivesWholeOrNotAtAll) {
    const HostilePeer peer(Manner::kReads);
    ClientPort port(HostPort{"localhost", peer.Port()}, {.line_bytes = 1000});
    port.Send("first");  // waits for the thread
    port.Send("");
    port.Send("two\nlines");
    port.Send(std::string("a\0b", 3));
    port.Send(std::string(1 << 20, 'x'));
    port.Send(std::string(1000, 'y'));
    port.Send("not \xff UTF-8 \r");
    port.Start();
    EXPECT_TRUE(Soon([&] { return port.Counts().delivered == 3; }));
    port.Finish();
    port.Send("late");
    EXPECT_TRUE(Soon([&] { return peer.Text().ends_with("\r\n"); }));
    EXPECT_EQ(peer.Text(), "first\n" + std::string(1000, 'y') + "\nnot \xff UTF-8 \r\n");
    EXPECT_EQ(port.Counts().sent, 8u);
    EXPECT_EQ(port.Counts().dropped, 5u);
}

TEST(ClientPort, AFullQueueKeepsTheNewest) {
    const HostilePeer peer(Manner::kReads);
    ClientPort port(HostPort{"127.0.0.1", peer.Port()}, {.lines = 3, .bytes = 12});
    for (int i = 0; i < 100'000; ++i) port.Send(std::to_string(i));
    EXPECT_EQ(port.Counts().dropped, 99'998u);  // two lines of six bytes are left
    port.Start();
    EXPECT_TRUE(Soon([&] { return peer.Text() == "99998\n99999\n"; })) << peer.Text();
}

TEST(ClientPort, AfterABreakLinesBeginAnew) {
    const HostilePeer peer(Manner::kBreaks);
    ClientPort port(HostPort{"127.0.0.1", peer.Port()}, {.first_pause = milliseconds(1)});
    port.Start();
    const std::string line = "#" + std::string(60'000, 'z');
    EXPECT_TRUE(Soon([&] {
        port.Send(line);
        return peer.Connections() > 3;
    }));
    port.Finish();
    std::istringstream connections(peer.Text());
    for (std::string text; std::getline(connections, text, HostilePeer::kBreak);) {
        std::istringstream lines(text);
        for (std::string one; std::getline(lines, one);) {
            EXPECT_TRUE(line.starts_with(one)) << "begins with " << one.substr(0, 9);
            EXPECT_TRUE(lines.eof() || one == line) << one.size() << " bytes of a line";
        }
    }
}

TEST(ClientPort, LeavesSignalsAndDescriptorsAlone) {
    sigset_t one, before;
    sigemptyset(&one);
    sigaddset(&one, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &one, &before);
    const HostilePeer peer(Manner::kReads);
    const std::set<int> known = OpenNumbers();
    ClientPort port(HostPort{"127.0.0.1", peer.Port()});
    port.Start();
    port.Send("line");
    ASSERT_TRUE(Soon([&] { return port.Counts().delivered == 1; }));
    int fresh = 0;
    for (const int descriptor : OpenNumbers()) {
        if (known.contains(descriptor)) continue;
        fresh += 1;
        EXPECT_EQ(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC) << descriptor;
    }
    EXPECT_GE(fresh, 2);  // the one that wakes the thread, and the connection
    // A thread that takes it ends the process.
    kill(getpid(), SIGUSR1);
    const timespec limit = {20, 0};
    EXPECT_EQ(sigtimedwait(&one, nullptr, &limit), SIGUSR1);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    port.Finish();
    EXPECT_TRUE(Soon([&] { return OpenNumbers().size() <= known.size() + 1; }));
}

TEST(ClientPort, IsNotHeldUpByAResolver) {
    let_go = has_gone = false;
    const Clock::time_point begin = Clock::now();
    {
        ClientPort port(HostPort{kHangingName, 9});
        port.Start();
        port.Send("line");
    }
    EXPECT_LT(Milliseconds(Clock::now() - begin), Milliseconds(kEnd));
    let_go = true;
    let_go.notify_all();
    EXPECT_TRUE(Soon([] { return has_gone.load(); }));
}
