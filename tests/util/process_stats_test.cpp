// The process's own statistics and their summary.

#include "util/stats/process_stats.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <string>

namespace {

TEST(UtilProcessStats, SystemSectionHasItsMembersInOrderAndAsksTheSystem) {
    TgStats system;
    std::string members;
    for (const UtStat* member : system.Members()) members += member->Name() + " ";
    EXPECT_EQ(members,
              "systemMem filesOpened filesReopened filesReclaimed filesOpenError totaltime fileLog "
              "hostname osName osRelease osVersion arch ");
    system.start();
    system.update();
    utsname names{};
    ASSERT_EQ(uname(&names), 0);
    const char* const wanted[] = {names.nodename, names.sysname, names.release, names.version,
                                  names.machine};
    const UtStringStat* const found[] = {&system.host_name, &system.os_name, &system.os_release,
                                         &system.os_version, &system.arch};
    for (int i = 0; i < 5; ++i) EXPECT_EQ(found[i]->Value(), wanted[i]);
    system.stop();
    const double elapsed = system.total_time.Total().elapsed;
    EXPECT_GT(elapsed, 0);
    TgMemoryStats memory("memory", "Memory");
    system.system_mem.Set(0);
    testing::internal::CaptureStdout();
    PrintSummary(system, memory, stdout);  // which brings both up to date
    EXPECT_GT(system.system_mem.Current(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), SummaryText(system, memory));
    EXPECT_EQ(system.total_time.Total().elapsed, elapsed) << "it has stopped";
}

/// Calls `work` while there are fresh pages, each of which the system had to provide.
template <class Work>
void FreshPages(int pages, Work work) {
    const auto size = static_cast<std::size_t>(pages * sysconf(_SC_PAGESIZE));
    void* const mapped =
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(mapped, MAP_FAILED);
    madvise(mapped, size, MADV_NOHUGEPAGE);
    std::memset(mapped, 1, size);
    work();
    munmap(mapped, size);
}

TEST(UtilProcessStats, PagesCountFromStartToStopAndMemoryIsNow) {
    TgStats system;
    TgMemoryStats memory("memory", "Memory");
    memory.update();
    EXPECT_EQ(memory.page_reclaims.Value(), 0u) << "not started";
    memory.start();
    FreshPages(2000, [&] { system.update(); });
    memory.stop();
    const std::int64_t most = system.system_mem.Current();
    system.update();
    EXPECT_GE(most - system.system_mem.Current(), 1900 * sysconf(_SC_PAGESIZE));
    EXPECT_GE(system.system_mem.Peak(), most);

    const unsigned long counted = memory.page_reclaims.Value();
    EXPECT_GE(counted, 2000u);
    EXPECT_LT(counted, static_cast<unsigned long>(ReadPageCounts().reclaims));
    FreshPages(1000, [] {});
    memory.update();
    EXPECT_EQ(memory.page_reclaims.Value(), counted) << "stopped";
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // they replace the allocator
    EXPECT_GT(memory.heap_memory.Current(), 0);
#endif
    EXPECT_GT(memory.peak_resident_size.Current(), 0);
    EXPECT_GE(memory.peak_resident_size.Peak(), memory.peak_resident_size.Current());
}

TEST(UtilProcessStats, SummaryTimesCountHoursAboveOneHourOnly) {
    const std::pair<double, const char*> cases[] = {
        {0.99, "00:00"},   {59, "00:59"},        {59.999, "00:59"},      {3599, "59:59"},
        {3600.5, "60:00"}, {3601, "1:00:01"},    {3725, "1:02:05"},      {3600, "60:00"},
        {-5, "00:00"},     {360e3, "100:00:00"}, {std::nan(""), "00:00"}};
    TgMemoryStats memory("memory", "Memory");
    memory.peak_resident_size.RaisePeak(1234 << 20);
    memory.page_faults.Set(1);
    memory.page_reclaims.Set(2'345'678);
    for (const auto& [seconds, text] : cases) {
        TgStats system;
        system.system_mem.Set(3 << 19);
        system.total_time.Add({seconds, 59, 60});
        EXPECT_EQ(SummaryText(system, memory),
                  std::string("       Memory:         1.50 MB\n"
                              "       Max resident mem: 1234.00 MB\n"
                              "       Page faults: 1, Page reclaims: 2345678, Swaps: 0\n\n"
                              "       Real time:     ") +
                      text + "\n       User time:     00:59\n       Sys time:      01:00\n");
    }
}

}  // namespace
