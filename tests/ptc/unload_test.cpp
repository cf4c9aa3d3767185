// Loading does nothing; unloading gives everything back, whatever threads do afterwards.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <pthread.h>

#include <atomic>
#include <barrier>
#include <cstdlib>
#include <mutex>
#include <thread>

#include "tests/support/clouds.h"
#include "tests/support/scratch.h"

namespace {

void* Load(int flags = 0) {
    return dlopen(PTC_UNLOAD_MODULE, RTLD_NOW | RTLD_LOCAL | flags);
}

bool IsLoaded() {
    void* const handle = Load(RTLD_NOLOAD);
    if (handle) dlclose(handle);
    return handle != nullptr;
}

/// The number that the next key would get: it shows whether somebody took or gave back one.
pthread_key_t NextKey() {
    pthread_key_t key;
    EXPECT_EQ(pthread_key_create(&key, nullptr), 0);
    pthread_key_delete(key);
    return key;
}

std::ptrdiff_t Descriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

/// Bytes that are allocated. A sanitizer has its own memory, and looks for leaks itself.
std::size_t Allocated() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

struct PtcUnload : testing::Test {
    /// The object, loaded and in use by this thread; `living_` counts what it holds for threads.
    void* LoadAndUse() {
        void* const object = Load();
        EXPECT_NE(object, nullptr) << dlerror();
        const auto use = reinterpret_cast<bool (*)(const char*, const char*, std::atomic<int>*)>(
            dlsym(object, "UseLibrary"));
        const std::lock_guard hold(using_);
        EXPECT_TRUE(use(cloud_.c_str(), text_.c_str(), &living_));
        return object;
    }

    const ScratchFolder folder_;
    const std::string cloud_ = WriteTo(folder_.File("a.ptc"), SmallCloud(TokenForm::kBinary));
    const std::string text_ = WriteTo(folder_.File("text"), SmallCloud(TokenForm::kText));
    std::atomic<int> living_{0};
    std::mutex using_;
};

TEST_F(PtcUnload, ThreadsMayOutliveTheObject) {
    constexpr int kRounds = 4;
    constexpr std::size_t kOneBlock = 10'240;
    const pthread_key_t key = NextKey();
    std::ptrdiff_t descriptors = 0;
    std::size_t allocated = 0;
    std::barrier step(2);
    std::thread outliving([&] {
        for (int round = 0; round < kRounds; ++round) {
            step.arrive_and_wait();
            dlclose(LoadAndUse());  // the other one holds it too
            step.arrive_and_wait();
        }
        step.arrive_and_wait();
    });
    for (int round = 0; round < kRounds; ++round) {
        void* const loaded = Load();
        EXPECT_EQ(NextKey(), key) << "loading alone took a key";
        void* const object = LoadAndUse();
        dlclose(loaded);
        step.arrive_and_wait();
        std::thread([&] { dlclose(LoadAndUse()); }).join();  // its thing goes with it
        step.arrive_and_wait();
        EXPECT_EQ(living_, 2);
        if (round % 2 == 0) {
            reinterpret_cast<void (*)()>(dlsym(object, "ShutLibraryDown"))();
            dlclose(LoadAndUse());
        }
        dlclose(object);
        EXPECT_FALSE(IsLoaded());
        EXPECT_EQ(living_, 0);
        EXPECT_EQ(NextKey(), key) << "the unloaded object still has a key";
        // The first round makes what the process needs once.
        const std::size_t now = Allocated();
        if (round > 0) {
            EXPECT_EQ(Descriptors(), descriptors);
            EXPECT_LT(now, allocated + kOneBlock);
        }
        descriptors = Descriptors();
        allocated = now;
    }
    step.arrive_and_wait();
    outliving.join();
    EXPECT_EQ(living_, 0);
}

TEST_F(PtcUnload, AnEndingHostMayUnloadTheObjectAndOnlyThenLetItsThreadsGo) {
    static PtcUnload* test;
    static std::barrier<> step(2);
    static void* object;
    static std::thread late;
    test = this;
    const auto end = [] {
        std::atexit([] {
            dlclose(object);
            const bool gone = !IsLoaded();
            step.arrive_and_wait();
            late.join();
            std::_Exit(gone ? 30 : 31);
        });
        late = std::thread([] {
            object = test->LoadAndUse();
            step.arrive_and_wait();
            step.arrive_and_wait();
        });
        step.arrive_and_wait();
        std::exit(0);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(30), "");
}

}  // namespace
