// The statistics family: what is written, merged, reset, and grouped.

#include "util/stats.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/recorded_stats.h"
#include "util/stats_timers.h"

namespace {

using Counter32 = UtCounterStat<unsigned int>;
using Counter64 = UtCounterStat<unsigned long>;
using StringSet = UtSetStat<std::string>;

/// One statistic of each class, filled with figures `n` times as large as those for 1.
struct Family {
    explicit Family(int n) {
        counter.Add(static_cast<unsigned>(n));
        wide.Add(5'000'000'000ul * static_cast<unsigned>(n));
        memory.Add(100 * n);
        memory.Add(-60 * n);
        const std::string number = std::to_string(n);
        text.Set(std::string("text ").append(number));
        set.Add("both");
        set.Add(std::string("a").append(number));
        timer.Add({1.5 * n, 0.25 * n, 0.125 * n});
        ticks.Add(2'000'000'000 * std::int64_t{n});
        for (UtStat* member : Members()) list.add(member);
    }
    std::vector<UtStat*> Members() {
        return {&counter, &wide, &memory, &text, &set, &timer, &ticks};
    }

    Counter32 counter{"c", "C"};
    Counter64 wide{"w", "W"};
    UtMemStat memory{"m", "M"};
    UtStringStat text{"t", "T"};
    StringSet set{"s", "S"};
    UtTimerStat timer{"e", "E"};
    UtHresTimerStat ticks{"h", "H"};
    UtStatsList list{"section", "l", "L"};
};

TEST(UtilStats, EachClassWritesItsElement) {
    EXPECT_EQ(Recorded(Family(1).list),
              "stats name=l description=L kind=section {\n"
              "int name=c description=C : 1\n"
              "int name=w description=W : 5000000000\n"
              "memory name=m description=M {\npeak : 100\ncurrent : 40\n} memory\n"
              "string name=t description=T : text 1\n"
              "set name=s description=S {\nmember : a1\nmember : both\n} set\n"
              "timer name=e description=E {\n"
              "elapsed : 1.500000\nuser : 0.250000\nsystem : 0.125000\n} timer\n"
              "timer name=h description=H {\nelapsed : 2.000000\n} timer\n"
              "} stats\n");
}

TEST(UtilStats, MergeAddsUnitesAndKeepsTexts) {
    Family into(4);
    into.list.merge(Family(3).list);
    EXPECT_EQ(into.counter.Value(), 7u);
    EXPECT_EQ(into.wide.Value(), 35'000'000'000ul);
    EXPECT_EQ(into.memory.Current(), 280);
    EXPECT_EQ(into.memory.Peak(), 700);
    EXPECT_EQ(into.text.Value(), "text 4");
    EXPECT_EQ(into.set.Values(), (std::set<std::string>{"a3", "a4", "both"}));
    EXPECT_EQ(into.timer.Total().elapsed, 10.5);
    EXPECT_EQ(into.timer.Total().user, 1.75);
    EXPECT_EQ(into.timer.Total().system, 0.875);
    EXPECT_EQ(into.ticks.Ticks(), 14e9);

    into.text.Set("");
    into.list.merge(Family(3).list);
    EXPECT_EQ(into.text.Value(), "text 3");
}

TEST(UtilStats, ResetClearsFiguresAndKeepsTexts) {
    Family family(2);
    family.list.reset();
    EXPECT_TRUE(family.set.Values().empty());
    Family fresh(0);
    fresh.text.Set("text 2");
    fresh.set.reset();
    EXPECT_EQ(Recorded(family.list), Recorded(fresh.list));
}

TEST(UtilStats, OtherClassesDoNotMerge) {
    // Each against each of another class, the two counters included: nothing may change.
    Family into(1);
    Family from(5);
    const std::string before = Recorded(into.list);
    for (UtStat* to : into.Members()) {
        for (const UtStat* other : from.Members())
            if (to->Name() != other->Name()) to->merge(*other);
        to->merge(from.list);
    }
    EXPECT_EQ(Recorded(into.list), before);

    Counter32 counter("c", "");
    into.list.merge(counter);  // a list and what is no list
    EXPECT_EQ(Recorded(into.list), before);
}

TEST(UtilStats, ListsMergeWhatPairsByPosition) {
    Counter64 a("a", ""), b("b", ""), c("c", ""), other("x", "");
    Counter32 narrow("n", "");
    for (Counter64* counter : {&a, &b, &c}) counter->Set(1);
    other.Set(10);
    narrow.Set(10);
    UtStatsList into("", "", ""), from("", "", ""), empty("", "", "");
    for (UtStat* member : {&a, &b, &c}) into.add(member);
    from.add(&narrow);
    from.add(&other);
    into.merge(from);
    into.merge(empty);
    EXPECT_EQ(a.Value(), 1u);
    EXPECT_EQ(b.Value(), 11u);
    EXPECT_EQ(c.Value(), 1u);
    from.merge(into);
    EXPECT_EQ(narrow.Value(), 10u);
    EXPECT_EQ(other.Value(), 21u);
}

TEST(UtilStats, KindIsWrittenWhenThereIsOne) {
    EXPECT_EQ(Recorded(UtStatsList("", "n", "d")), "stats name=n description=d {\n} stats\n");
    EXPECT_EQ(Recorded(UtStatsList("k", "n", "d")),
              "stats name=n description=d kind=k {\n} stats\n");
}

TEST(UtilStats, ListRefusesWhatLeadsBackToIt) {
    UtStatsList outer("", "outer", ""), middle("", "middle", ""), inner("", "inner", "");
    EXPECT_FALSE(outer.add(nullptr));
    EXPECT_FALSE(outer.add(&outer));
    EXPECT_TRUE(outer.add(&middle));
    EXPECT_TRUE(middle.add(&inner));
    EXPECT_FALSE(inner.add(&outer));
    EXPECT_FALSE(inner.add(&middle));
    EXPECT_TRUE(outer.add(&inner));
    EXPECT_TRUE(inner.Members().empty());
    EXPECT_EQ(outer.Members(), (std::vector<UtStat*>{&middle, &inner}));
}

/// Notes what is done to it.
class Probe : public UtStat {
public:
    Probe(std::string name, std::string* log) : UtStat(std::move(name), ""), log_(log) {}
    void reset() override { *log_ += Name() + " reset,"; }
    void start() override { *log_ += Name() + " start,"; }
    void stop() override { *log_ += Name() + " stop,"; }
    void update() override { *log_ += Name() + " update,"; }
    void write(StatsWriter&) const override { *log_ += Name() + " write,"; }

private:
    std::string* log_;
};

TEST(UtilStats, ListPassesEachOperationOnInOrder) {
    std::string log;
    Probe first("1", &log), second("2", &log);
    UtStatsList list("", "", "");
    list.add(&first);
    list.add(&second);
    list.start();
    list.update();
    list.stop();
    list.reset();
    (void)Recorded(list);
    EXPECT_EQ(log,
              "1 start,2 start,1 update,2 update,1 stop,2 stop,1 reset,2 reset,1 write,2 write,");
}

TEST(UtilStats, ListsOfManyThreadsMergeIntoOne) {
    constexpr int kThreads = 4;
    constexpr int kCounts = 10'000;
    std::vector<std::unique_ptr<Family>> families;
    families.reserve(kThreads);
    for (int i = 0; i < kThreads; ++i) families.push_back(std::make_unique<Family>(0));
    std::vector<std::jthread> threads;
    threads.reserve(kThreads);
    for (auto& family : families)
        threads.emplace_back([&family] {
            for (int i = 0; i < kCounts; ++i) {
                const UtHresTimerScope scope(family->ticks);
                family->counter.Add(1);
                family->memory.Add(i % 2 ? -8 : 8);
            }
        });
    threads.clear();  // joins

    Family all(0);
    for (const auto& family : families) {
        EXPECT_GT(family->ticks.Ticks(), 0);
        all.list.merge(family->list);
    }
    EXPECT_EQ(all.counter.Value(), static_cast<unsigned>(kThreads * kCounts));
    EXPECT_EQ(all.memory.Current(), 0);
    EXPECT_EQ(all.memory.Peak(), 8 * kThreads);
}

}  // namespace
