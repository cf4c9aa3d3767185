// Organising when any allocation fails: the call says so, and nothing of the output stays.

#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

#include "ptc/organise.h"
#include "ptc/organise/organise_clouds.h"
#include "tests/support/clouds.h"
#include "tests/support/failing_new.h"
#include "tests/support/scratch.h"

namespace {

std::atomic<int> news_until_failure{0};

bool OrganisesWith(int allocations, const PtcOrganiseRequest& request) {
    OrganiseFailure failure;
    news_until_failure = allocations;
    new_fails = [] { return news_until_failure.fetch_sub(1) <= 0; };
    bool is_done = false;
    try {
        is_done = OrganiseClouds(request, nullptr, &failure);
        EXPECT_TRUE(is_done) << "a failure that is not the memory's: " << failure.what;
    } catch (const std::bad_alloc&) {
    }
    new_fails = nullptr;
    return is_done;
}

TEST(PtcOrganise, EveryAllocationMayFail) {
    const ScratchFolder folder;
    const std::string input = WriteTo(folder.File("in"), BytesOf({2000, false}));
    const std::string output = folder.File("out");
    const char* const inputs[] = {input.c_str()};
    PtcOrganiseRequest request{.inputs = inputs, .input_count = 1, .output = output.c_str()};
    for (const std::int64_t memory : {30'000, 1 << 30})
        for (const int threads : {1, 2}) {
            request.memory = memory;
            request.threads = threads;
            int allocations = 0;
            for (; !OrganisesWith(allocations, request); allocations += 1 + allocations / 40)
                ASSERT_FALSE(std::filesystem::exists(output)) << allocations;
            EXPECT_GT(allocations, 20);
            ASSERT_TRUE(std::filesystem::remove(output));
        }
    const auto fails_always = [] { return true; };
    new_fails = fails_always;
    const bool is_done = PtcOrganise(request, nullptr);
    new_fails = nullptr;
    EXPECT_FALSE(is_done);
    EXPECT_EQ(PtcLastFailure().code, PtcFailureCode::kNoMemory);
}

}  // namespace
