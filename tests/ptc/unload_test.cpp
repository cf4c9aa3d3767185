// Threads that have used files and caches may end after a shut-down and after the unload.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <barrier>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/support/scratch.h"
#include "tests/support/small_cloud.h"

namespace {

using UseLibrary = bool (*)(const char*, bool);

std::ptrdiff_t Descriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

TEST(PtcUnload, GivesEveryFileBackWhateverThreadsDoLater) {
    const ScratchFolder folder;
    const std::string name = folder.File("a.ptc");
    std::ofstream(name, std::ios::binary) << SmallCloud(TokenForm::kBinary);
    const std::ptrdiff_t before = Descriptors();
    for (const bool shuts_down : {false, true}) {
        void* const object = dlopen(PTC_UNLOAD_MODULE, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(object, nullptr) << dlerror();
        const auto use = reinterpret_cast<UseLibrary>(dlsym(object, "UseLibrary"));
        ASSERT_NE(use, nullptr);
        std::barrier step(2);
        std::thread outliving([&] {
            EXPECT_TRUE(use(name.c_str(), false));
            step.arrive_and_wait();
            step.arrive_and_wait();
        });
        step.arrive_and_wait();
        EXPECT_TRUE(use(name.c_str(), shuts_down));
        dlclose(object);
        void* const still = dlopen(PTC_UNLOAD_MODULE, RTLD_NOW | RTLD_NOLOAD);
        EXPECT_EQ(still, nullptr) << "something keeps the object loaded";
        EXPECT_EQ(Descriptors(), before);
        step.arrive_and_wait();
        outliving.join();
    }
}

}  // namespace
