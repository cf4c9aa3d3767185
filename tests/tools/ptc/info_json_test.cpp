// The JSON of ptc info when memory fails at any place.

#include <new>

#include "tests/support/failing_new.h"
#include "tests/tools/ptc/sound_cloud.h"
#include "tools/ptc/inspect/info_json.h"

namespace {

int allocations_left = 0;  // before one fails

TEST(PtcInfoJson, EveryFailedAllocationComesOutAsOne) {
    const ScratchFolder folder;
    std::string why;
    const std::string file = sound_cloud::WriteTo(folder.File("a.ptc"), sound_cloud::Bytes());
    const auto cloud = OpenCloud(file.c_str(), &why);
    ASSERT_TRUE(cloud) << why;
    const HeaderFacts facts = FactsOf("a.ptc", *cloud);
    int failures = 0;
    for (bool is_done = false; !is_done; failures += !is_done) {
        allocations_left = failures;
        new_fails = [] { return allocations_left-- == 0; };
        try {
            (void)InfoJson(facts);
            is_done = true;
        } catch (const std::bad_alloc&) {
        }
        new_fails = nullptr;
    }
    EXPECT_GT(failures, 10);
}

}  // namespace
