// Loading does nothing; unloading gives everything back, whatever threads do afterwards.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <barrier>
#include <cstdlib>
#include <thread>

namespace {

/// The object, loaded and in use by this thread; `*living` counts what it holds for threads.
void* LoadAndUse(std::atomic<int>* living) {
    void* const object = dlopen(UTIL_UNLOAD_MODULE, RTLD_NOW | RTLD_LOCAL);
    EXPECT_NE(object, nullptr) << dlerror();
    reinterpret_cast<void (*)(std::atomic<int>*)>(dlsym(object, "UseRuntime"))(living);
    return object;
}

bool IsLoaded() {
    void* const handle = dlopen(UTIL_UNLOAD_MODULE, RTLD_NOW | RTLD_NOLOAD);
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

TEST(UtilUnload, ThreadsMayOutliveTheObject) {
    const pthread_key_t before = NextKey();
    std::atomic<int> living{0};
    std::barrier step(2);
    std::thread outliving([&] {
        for (int round = 0; round < 3; ++round) {
            step.arrive_and_wait();
            dlclose(LoadAndUse(&living));  // the other one holds it too
            step.arrive_and_wait();
        }
        step.arrive_and_wait();
    });
    for (int round = 0; round < 3; ++round) {
        void* const loaded = dlopen(UTIL_UNLOAD_MODULE, RTLD_NOW | RTLD_LOCAL);
        EXPECT_EQ(NextKey(), before) << "loading alone took a key";
        void* const object = LoadAndUse(&living);
        dlclose(loaded);
        step.arrive_and_wait();
        std::thread([&] { dlclose(LoadAndUse(&living)); }).join();  // its thing goes with it
        step.arrive_and_wait();
        EXPECT_EQ(living, 2);
        dlclose(object);
        EXPECT_FALSE(IsLoaded());
        EXPECT_EQ(living, 0);
        EXPECT_EQ(NextKey(), before) << "the unloaded object still has a key";
    }
    step.arrive_and_wait();
    outliving.join();
    EXPECT_EQ(living, 0);
}

TEST(UtilUnload, AnEndingHostMayUnloadTheObjectAndOnlyThenLetItsThreadsGo) {
    static std::atomic<int> living{0};
    static std::barrier<> step(2);
    static void* object;
    static std::thread late;
    const auto end = [] {
        std::atexit([] {
            dlclose(object);
            const bool gone = !IsLoaded();
            step.arrive_and_wait();
            late.join();
            std::_Exit(gone ? 30 : 31);
        });
        late = std::thread([] {
            object = LoadAndUse(&living);
            step.arrive_and_wait();
            step.arrive_and_wait();
        });
        step.arrive_and_wait();
        std::exit(0);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(30), "");
}

}  // namespace
