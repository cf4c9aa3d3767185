// Threads that have used files and caches may end after a shut-down and after the unload.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <barrier>
#include <filesystem>
#include <thread>

#include "tests/support/clouds.h"
#include "tests/support/scratch.h"

namespace {

using UseLibrary = bool (*)(const char*, bool);

std::ptrdiff_t Descriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

/// Bytes that are allocated. A sanitizer has its own memory, and looks for leaks itself.
std::size_t Allocated() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

/// Loads the object; this thread, one that ends and one that outlives the object use it.
void LoadAndUnload(const std::string& name, bool shuts_down) {
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
    std::thread([&] { EXPECT_TRUE(use(name.c_str(), false)); }).join();
    dlclose(object);
    EXPECT_EQ(dlopen(PTC_UNLOAD_MODULE, RTLD_NOW | RTLD_NOLOAD), nullptr)
        << "something keeps the object loaded";
    step.arrive_and_wait();
    outliving.join();
}

TEST(PtcUnload, GivesFilesAndBlocksBackWhateverThreadsDoLater) {
    const ScratchFolder folder;
    const std::string name = WriteTo(folder.File("a.ptc"), SmallCloud(TokenForm::kBinary));
    LoadAndUnload(name, true);  // what the process needs once
    const std::ptrdiff_t descriptors = Descriptors();
    for (const bool shuts_down : {false, true}) {
        const std::size_t before = Allocated();
        LoadAndUnload(name, shuts_down);
        EXPECT_EQ(Descriptors(), descriptors);
        constexpr std::size_t kOneBlock = 10'240;
        EXPECT_LT(Allocated(), before + kOneBlock);
    }
}

}  // namespace
