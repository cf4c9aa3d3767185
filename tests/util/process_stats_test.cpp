// The process's own statistics and their summary.

#include "util/process_stats.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cmath>
#include <string>

#include "tests/support/recorded_stats.h"
#include "tests/support/scratch.h"

namespace {

TEST(UtilProcessStats, SystemSectionHasItsMembersInOrder) {
    TgStats system;
    EXPECT_EQ(Recorded(system),
              "stats name=system description=System stats kind=section {\n"
              "memory name=systemMem description=System memory {\npeak : 0\ncurrent : 0\n} memory\n"
              "int name=filesOpened description=Files opened : 0\n"
              "int name=filesReopened description=Files reopened : 0\n"
              "int name=filesReclaimed description=Files reclaimed : 0\n"
              "int name=filesOpenError description=Files not successfully opened : 0\n"
              "timer name=totaltime description=Total time {\n"
              "elapsed : 0.000000\nuser : 0.000000\nsystem : 0.000000\n} timer\n"
              "set name=fileLog description= {\n} set\n"
              "string name=hostname description=Host name : \n"
              "string name=osName description=OS name : \n"
              "string name=osRelease description=OS release : \n"
              "string name=osVersion description=OS version : \n"
              "string name=arch description=System architecture : \n"
              "} stats\n");
}

TEST(UtilProcessStats, UpdateAsksTheSystem) {
    TgStats system;
    system.start();
    system.update();
    utsname names{};
    ASSERT_EQ(uname(&names), 0);
    EXPECT_EQ(system.host_name.Value(), names.nodename);
    EXPECT_EQ(system.os_name.Value(), names.sysname);
    EXPECT_EQ(system.os_release.Value(), names.release);
    EXPECT_EQ(system.os_version.Value(), names.version);
    EXPECT_EQ(system.arch.Value(), names.machine);
    EXPECT_GT(system.total_time.Total().elapsed, 0);
    const std::int64_t before = system.system_mem.Current();
    EXPECT_GT(before, 0);
    EXPECT_EQ(before % sysconf(_SC_PAGESIZE), 0);

    constexpr std::size_t kMapped = 256u << 20;
    void* const mapped = mmap(nullptr, kMapped, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(mapped, MAP_FAILED);
    system.update();
    munmap(mapped, kMapped);
    EXPECT_GE(system.system_mem.Current(), before + static_cast<std::int64_t>(kMapped));
    system.update();
    EXPECT_GT(system.system_mem.Peak(), system.system_mem.Current());
}

/// Touches `pages` fresh pages, each of which the system has to provide.
void TouchPages(std::size_t pages) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    void* const mapped =
        mmap(nullptr, pages * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(mapped, MAP_FAILED);
    madvise(mapped, pages * page, MADV_NOHUGEPAGE);
    for (std::size_t i = 0; i < pages; ++i) static_cast<volatile char*>(mapped)[i * page] = 1;
    munmap(mapped, pages * page);
}

TEST(UtilProcessStats, PagesCountFromStartToStop) {
    TgMemoryStats memory("memory", "Memory");
    TouchPages(1000);
    memory.update();
    EXPECT_EQ(memory.page_reclaims.Value(), 0u) << "not started";
    memory.start();
    TouchPages(1000);
    memory.stop();
    const unsigned long counted = memory.page_reclaims.Value();
    EXPECT_GE(counted, 1000u);
    EXPECT_LT(counted, static_cast<unsigned long>(ReadPageCounts().reclaims) - 1000);
    TouchPages(1000);
    memory.update();
    EXPECT_EQ(memory.page_reclaims.Value(), counted) << "stopped";
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // they replace the allocator
    EXPECT_GT(memory.heap_memory.Current(), 0);
#endif
    EXPECT_GT(memory.peak_resident_size.Current(), 0);
    EXPECT_GE(memory.peak_resident_size.Peak(), memory.peak_resident_size.Current());
}

TEST(UtilProcessStats, MemoryStatsMergeAndWriteTheirFigures) {
    TgMemoryStats one("memory", "Memory"), other("memory", "Memory");
    for (TgMemoryStats* memory : {&one, &other}) {
        memory->heap_memory.Set(100);
        memory->peak_resident_size.RaisePeak(200);
        memory->page_faults.Set(1);
        memory->page_reclaims.Set(2);
        memory->page_swaps.Set(3);
    }
    one.merge(other);
    one.merge(TgStats());
    EXPECT_EQ(Recorded(one),
              "stats name=memory description=Memory {\n"
              "memory name=heapMemory description=Total heap memory {\n"
              "peak : 200\ncurrent : 200\n} memory\n"
              "memory name=peakResidentSize description=Peak resident size {\n"
              "peak : 400\ncurrent : 0\n} memory\n"
              "int name=pageFaults : 2\nint name=pageReclaims : 4\nint name=pageSwaps : 6\n"
              "} stats\n");
    one.reset();
    EXPECT_EQ(Recorded(one), Recorded(TgMemoryStats("memory", "Memory")));
}

TEST(UtilProcessStats, SummaryTimesCountHoursAboveOneHourOnly) {
    const std::pair<double, const char*> cases[] = {
        {0, "00:00"},      {0.99, "00:00"},        {59, "00:59"},     {59.999, "00:59"},
        {60, "01:00"},     {3599, "59:59"},        {3600, "60:00"},   {3600.5, "60:00"},
        {3601, "1:00:01"}, {3725, "1:02:05"},      {7200, "2:00:00"}, {360'000, "100:00:00"},
        {-5, "00:00"},     {std::nan(""), "00:00"}};
    for (const auto& [seconds, text] : cases) {
        TgStats system;
        system.total_time.Add({seconds, 1, 2});
        const std::string summary = SummaryText(system, TgMemoryStats("", ""));
        const std::string line = std::string("       Real time:     ") + text + "\n";
        EXPECT_NE(summary.find(line), std::string::npos) << seconds << "\n" << summary;
    }
}

TEST(UtilProcessStats, SummaryHasItsLines) {
    TgStats system;
    TgMemoryStats memory("memory", "Memory");
    system.system_mem.Set(3 << 19);
    system.total_time.Add({3725, 59, 60});
    memory.peak_resident_size.RaisePeak(1234 << 20);
    memory.page_faults.Set(1);
    memory.page_reclaims.Set(2'345'678);
    EXPECT_EQ(SummaryText(system, memory),
              "       Memory:         1.50 MB\n"
              "       Max resident mem: 1234.00 MB\n"
              "       Page faults: 1, Page reclaims: 2345678, Swaps: 0\n\n"
              "       Real time:     1:02:05\n"
              "       User time:     00:59\n"
              "       Sys time:      01:00\n");
}

TEST(UtilProcessStats, PrintedSummaryIsUpToDate) {
    const ScratchFolder folder;
    const std::string file = folder.File("summary");
    TgStats system;
    TgMemoryStats memory("memory", "Memory");
    std::FILE* const stream = std::fopen(file.c_str(), "w");
    ASSERT_TRUE(stream);
    PrintSummary(system, memory, stream);
    ASSERT_EQ(std::fclose(stream), 0);
    EXPECT_GT(system.system_mem.Current(), 0);
    EXPECT_EQ(ContentOf(file), SummaryText(system, memory));
}

}  // namespace
