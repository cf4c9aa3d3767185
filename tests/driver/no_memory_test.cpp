// Opening when the handle's memory cannot be had.

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "driver/image.h"

namespace {
bool is_memory_gone = false;
}

// Only the handle is allocated in this form.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return is_memory_gone ? nullptr : ::operator new(size);
}

namespace {

TEST(DriverOpen, AHandleWithoutMemoryIsASuccessWithoutAHandle) {
    PointCloudImage* image = nullptr;
    is_memory_gone = true;
    const DriverStatus status = OpenImage({"test", "never-made.ptc", {}, {}}, &image);
    is_memory_gone = false;
    EXPECT_EQ(status, DriverStatus::kSuccess);
    EXPECT_EQ(image, nullptr);
}

}  // namespace
