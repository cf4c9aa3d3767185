// Reports from many threads, out of handlers, at the process's end and with nothing left.

#include <pthread.h>

#include <atomic>
#include <barrier>
#include <cstdlib>
#include <map>
#include <thread>

#include "tests/util/message_recorder.h"
#include "util/runtime.h"

namespace {

class UtilMessageThreads : public MessageRecorder {
protected:
    /// How often each event was recorded while `threads` threads each run `work`, all at once.
    template <class Work>
    static std::map<std::string, int> Together(int threads, Work work) {
        std::barrier start(threads);
        std::vector<std::thread> running;
        running.reserve(static_cast<std::size_t>(threads));
        for (int id = 0; id < threads; ++id)
            running.emplace_back([&, id] {
                start.arrive_and_wait();
                work(id);
            });
        for (std::thread& thread : running) thread.join();
        std::map<std::string, int> counts;
        for (const std::string& event : Taken()) ++counts[event];
        return counts;
    }
};

TEST_F(UtilMessageThreads, EachTextAndEachIdentifierIsSaidOnceInTheProcess) {
    static std::atomic<int> holders{0};
    static std::atomic<int> locked{0};
    static std::atomic<bool> overlapped{false};
    static std::mutex host_mutex;
    const MsgLock host_lock = {[](void* mutex) {
                                   static_cast<std::mutex*>(mutex)->lock();
                                   if (++holders != 1) overlapped = true;
                                   ++locked;
                               },
                               [](void* mutex) {
                                   --holders;
                                   static_cast<std::mutex*>(mutex)->unlock();
                               },
                               &host_mutex};
    for (const MsgLock* lock : {static_cast<const MsgLock*>(nullptr), &host_lock}) {
        MsgInit(lock, nullptr, RecordExit, nullptr);
        constexpr int kTexts = 1000;
        const auto counts = Together(8, [](int id) {
            for (int i = 0; i < 2 * kTexts; ++i) {
                const std::string file = std::to_string((i + 7 * id) % kTexts);
                MsgReport("T43051", 4, 0x82, file.c_str());
                MsgReport("T43052", 4, 0x102, file.c_str());
            }
        });
        int others = 0;
        for (const auto& [event, count] : counts) {
            if (event.find("T43051") == event.npos) ++others;
            EXPECT_EQ(count, 1) << event;
        }
        EXPECT_EQ(counts.size(), kTexts + 1u);
        EXPECT_EQ(others, 1);
        EXPECT_EQ(locked > kTexts, lock != nullptr);
    }
    EXPECT_EQ(holders, 0);
    EXPECT_FALSE(overlapped);
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
    MsgSetHandler(
        [](int code, int severity, const char* text) {
            again();
            return Record(code, severity, text);
        },
        0);
    MsgSetFilter([](int, int, const char*, char*) { return again(), 0; });
    MsgSetWrapper([](MsgHandler handler, int code, int severity, const char* text) {
        again();
        return handler(code, severity, text);
    });
    const auto counts = Together(4, [](int) { MsgReport("T43051", 4, 0x102, "a"); });
    EXPECT_EQ(counts.size(), 3u);  // T43053 once per text, then once per identifier, and T43051
    for (const auto& [event, count] : counts) EXPECT_EQ(count, 1) << event;
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

TEST_F(UtilMessageThreads, WithoutAKeyListsAndOnceRulesStillHold) {
    const auto report = [] {
        pthread_key_t key;
        while (pthread_key_create(&key, nullptr) == 0) {
        }
        MsgSetHandlerAndExit(Record, nullptr);
        MsgSetDisabledList("T43052");
        const bool started = runtime::Start();
        for (int i = 0; i < 2; ++i) {
            MsgReport("T43051", 4, 0x82, "a");
            MsgReport("T43052", 4, 2, "a");
        }
        std::_Exit(!started && Taken().size() == 1 ? 30 : 31);
    };
    // A process of its own in which nothing has reported yet: the key is made by the first report.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(report(), testing::ExitedWithCode(30), "");
}

}  // namespace
