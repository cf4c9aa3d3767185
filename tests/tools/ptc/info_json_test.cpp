// The JSON of ptc info when memory fails at any place.

#include <cstdlib>
#include <new>

#include "tests/tools/ptc/sound_cloud.h"
#include "tools/ptc/info_json.h"

namespace {
int allocations_left = -1;  // before one fails; below 0: none does
}

// Not inlined: in its callers, the compiler would see free() of what new gave.
[[gnu::noinline]] void* operator new(std::size_t size) {
    void* const memory = allocations_left == 0 ? nullptr : std::malloc(size);
    if (allocations_left >= 0) --allocations_left;
    if (!memory) throw std::bad_alloc();
    return memory;
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace {

TEST(PtcInfoJson, EveryFailedAllocationComesOutAsOne) {
    const ScratchFolder folder;
    std::string why;
    const std::string file = sound_cloud::WriteTo(folder.File("a.ptc"), sound_cloud::Bytes());
    const auto cloud = OpenCloud(file.c_str(), &why);
    ASSERT_TRUE(cloud) << why;
    const CloudSize size = SizeOf(*cloud);
    int failures = 0;
    for (bool is_done = false; !is_done; failures += !is_done) {
        allocations_left = failures;
        try {
            (void)InfoJson("a.ptc", *cloud, size);
            is_done = true;
        } catch (const std::bad_alloc&) {
        }
        allocations_left = -1;
    }
    EXPECT_GT(failures, 10);
}

}  // namespace
