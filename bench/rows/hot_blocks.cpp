// Lookups in 16 blocks that the thread holds.

#include "bench/rows/cached_cloud.h"

int main(int count, char** arguments) {
    using namespace cached_cloud;
    return RunRows(count, arguments,
                   {MakeRow({"16 hot blocks", Stream::kHot, 1, 1, kBlocks, 0.6}),
                    MakeRow({"16 hot blocks, 2 threads", Stream::kHot, 2, 2, kBlocks, 0.6})});
}
