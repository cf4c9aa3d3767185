// Random lookups: in blocks that the thread holds, and in the shared cache.

#include "bench/rows/cached_cloud.h"

int main(int count, char** arguments) {
    using namespace cached_cloud;
    // A thread holds 3 blocks of the 1024, and the shared cache has room for all.
    constexpr int kCounted = kBlocks / 3;
    return RunRows(count, arguments,
                   {MakeRow({"random, in the thread's table", Stream::kRandom, 1, 1, kBlocks, 0}),
                    MakeRow({"random, in the shared cache", Stream::kRandom, 1, kCounted, 3, 0.35}),
                    MakeRow({"random, in the shared cache, 2 threads", Stream::kRandom, 2, kCounted,
                             3, 0.35})});
}
