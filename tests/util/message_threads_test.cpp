// Reports from many threads, out of handlers, and at the process's end.

#include <atomic>
#include <cstdlib>
#include <set>
#include <thread>

#include "tests/support/together.h"
#include "tests/util/message_recorder.h"
#include "util/host/runtime.h"

namespace {

class UtilMessageThreads : public MessageRecorder {
protected:
    /// The events, none of which may have come twice.
    static std::set<std::string> TakenOnce() {
        std::set<std::string> once;
        for (const std::string& event : Taken()) EXPECT_TRUE(once.insert(event).second) << event;
        return once;
    }
};

TEST_F(UtilMessageThreads, EachTextAndEachIdentifierIsSaidOnceInTheProcess) {
    static std::mutex host_mutex;
    static int locked = 0;
    const MsgLock host_lock = {[](void*) { host_mutex.lock(), ++locked; },
                               [](void* mutex) { static_cast<std::mutex*>(mutex)->unlock(); },
                               &host_mutex};
    for (const MsgLock* lock : {static_cast<const MsgLock*>(nullptr), &host_lock}) {
        MsgInit(lock, nullptr, RecordExit, nullptr);
        constexpr int kTexts = 1000;
        RunTogether(8, [](int id) {
            for (int i = 0; i < 2 * kTexts; ++i) {
                const std::string file = std::to_string((i + 7 * id) % kTexts);
                MsgReport("T43051", 4, 0x82, file.c_str());
                MsgReport("T43052", 4, 0x102, file.c_str());
            }
        });
        EXPECT_EQ(TakenOnce().size(), kTexts + 1u);  // and the identifier
        EXPECT_EQ(locked > kTexts, lock != nullptr);
    }
}

TEST_F(UtilMessageThreads, EveryCallbackMayReport) {
    static thread_local int depth = 0;
    static const auto again = [] {
        if (depth >= 2) return;
        ++depth;
        MsgReport("T43053", 4, 0x81);
        MsgReport("T43053", 4, 0x102);
        MsgSetErrorMode(2);
        --depth;
    };
    MsgSetHandler([](int code, int severity,
                     const char* text) { return again(), Record(code, severity, text); },
                  0);
    MsgSetFilter([](int, int, const char*, char*) { return again(), 0; });
    MsgSetWrapper([](MsgHandler handler, int code, int severity, const char* text) {
        return again(), handler(code, severity, text);
    });
    RunTogether(4, [](int) { MsgReport("T43051", 4, 0x102, "a"); });
    EXPECT_EQ(TakenOnce().size(), 3u);  // T43053 once per text and per identifier, and T43051
}

std::atomic<int> reported{0};
std::atomic<bool> goes_on_at_the_end{false};

/// Runs after the runtime's own finaliser: this file comes before the library when linking.
__attribute__((destructor)) void LetReportsGoOn() {
    if (!goes_on_at_the_end) return;
    for (const int until = reported + 1000; reported < until;) std::this_thread::yield();
}

TEST_F(UtilMessageThreads, TheProcessEndsCleanlyWhileOthersReport) {
    const auto end = [] {
        MsgSetHandler([](int, int, const char*) { return 0; }, 0);
        goes_on_at_the_end = true;
        for (int id = 0; id < 3; ++id)
            std::thread([] {
                for (int i = 0;; ++i, ++reported)
                    MsgReport("T43051", 4, 0x82, std::to_string(i % 1000).c_str());
            }).detach();
        while (reported < 1000) std::this_thread::yield();
        MsgSetHandlerAndExit(nullptr, nullptr);
        MsgReport("T43052", 7, 3, "a");
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(7), "T43052");
}

TEST_F(UtilMessageThreads, StartAndShutdownCountAndReportsGoOnWithout) {
    runtime::Shutdown();  // nobody has started: nothing happens
    MsgReport("T43051", 4, 2, "a");
    MsgSetDisabledList("T43051");
    EXPECT_TRUE(runtime::Start());
    EXPECT_TRUE(runtime::Start());
    runtime::Shutdown();
    MsgReport("T43051", 4, 2, "a");  // the thread's table is still the old one
    EXPECT_EQ(Taken().size(), 2u);
    runtime::Shutdown();
    MsgReport("T43051", 4, 2, "a");  // a new one, which has read the list
    EXPECT_EQ(Taken().size(), 0u);
}

TEST(UtilRuntime, ThreadCountIsTheMachinesUntilSetAndNeverBelowOne) {
    EXPECT_GE(runtime::ThreadCount(), 1);
    for (const int count : {8, 0, -3}) {
        runtime::SetThreadCount(count);
        EXPECT_EQ(runtime::ThreadCount(), count > 0 ? count : 1);
    }
}

}  // namespace
