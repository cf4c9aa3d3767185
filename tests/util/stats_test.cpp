// The statistics family and its XML report: what is written, merged, reset, and grouped.

#include "util/stats/stats.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/support/golden.h"
#include "tests/support/recorded_stats.h"
#include "tests/support/scratch.h"
#include "util/stats/process_stats.h"
#include "util/stats/stats_timers.h"
#include "util/stats/stats_xml.h"

namespace {

/// One statistic of each class, filled with figures `n` times as large as those for 1.
struct Family {
    explicit Family(int n) {
        const std::string number = std::to_string(n);
        counter.Add(static_cast<unsigned>(n));
        wide.Add(5'000'000'000ul * static_cast<unsigned>(n));
        memory.Add(100 * n);
        memory.Add(-60 * n);
        text.Set("text " + number);
        set.Add("both");
        set.Add("a" + number);
        timer.Add({1.5 * n, 0.25 * n, 0.125 * n});
        ticks.Add(2'000'000'000 * std::int64_t{n});
        process.heap_memory.Set(100 * n);
        process.peak_resident_size.RaisePeak(200 * n);
        unsigned long pages = 0;
        for (auto* count : {&process.page_faults, &process.page_reclaims, &process.page_swaps})
            count->Set(++pages * static_cast<unsigned>(n));
        for (UtStat* member : members) list.add(member);
    }

    UtCounterStat<unsigned int> counter{"c", "C & D"};
    UtCounterStat<unsigned long> wide{"w", "W"};
    UtMemStat memory{"m", "M"};
    UtStringStat text{"t", "T"};
    UtSetStat<std::string> set{"s", "S"};
    UtTimerStat timer{"e", "E"};
    UtHresTimerStat ticks{"h", "H"};
    TgMemoryStats process{"p", "P"};
    UtStatsList empty{"", "n", ""};
    UtStatsList list{"section", "l", "L"};
    std::array<UtStat*, 9> members = {&counter, &wide,  &memory,  &text, &set,
                                      &timer,   &ticks, &process, &empty};
};

/// What xmllint prints for `option` and the document, which has to be well-formed.
std::string Xmllint(const std::string& document, const std::string& option) {
    const ScratchFolder folder;
    const std::string file = WriteTo(folder.File("report.xml"), document);
    const std::string command = "xmllint --nonet " + option + " " + file + " 2>&1";
    std::FILE* const pipe = popen(command.c_str(), "r");
    if (!pipe) return "no xmllint";
    std::string printed;
    for (int c = 0; (c = std::fgetc(pipe)) != EOF;) printed += static_cast<char>(c);
    EXPECT_EQ(pclose(pipe), 0) << printed << document;
    return printed;
}

TEST(UtilStats, MergeAddsUnitesAndKeepsTextsAndEachClassWritesItsElement) {
    Family into(4);
    into.list.merge(Family(3).list);
    const std::string text = Recorded(into.list);
    ExpectGolden("stats.xml", text);
    EXPECT_EQ(Xmllint(text, "--noout"), "");
}

TEST(UtilStats, OtherClassesDoNotMergeAndAResetKeepsTexts) {
    Family into(4), from(5), fresh(0);
    const std::string before = Recorded(into.list);
    for (UtStat* to : into.members) {
        for (const UtStat* other : from.members)
            if (to->Name() != other->Name()) to->merge(*other);
        to->merge(from.list);
    }
    into.list.merge(from.counter);
    EXPECT_EQ(Recorded(into.list), before);

    into.text.Set("");
    into.text.merge(from.text);
    into.list.reset();
    fresh.text.Set("text 5");
    fresh.set.reset();
    EXPECT_TRUE(into.set.Values().empty());
    EXPECT_EQ(Recorded(into.list), Recorded(fresh.list));
}

TEST(UtilStats, ListsMergeWhatPairsByPosition) {
    Family one(1), two(1);
    UtStatsList into("", "", ""), from("", "", "");
    EXPECT_TRUE(into.add(&one.counter) && into.add(&one.wide));
    for (UtStat* member : two.members) from.add(member);
    into.merge(from);
    from.merge(into);
    EXPECT_EQ(one.counter.Value(), 2u);
    EXPECT_EQ(two.wide.Value(), 15'000'000'000ul);
}

TEST(UtilStats, ListRefusesWhatLeadsBackToIt) {
    UtStatsList outer("", "", ""), middle("", "", ""), inner("", "", "");
    EXPECT_TRUE(outer.add(&middle) && middle.add(&inner) && outer.add(&inner));
    EXPECT_FALSE(outer.add(nullptr) || outer.add(&outer));
    EXPECT_FALSE(inner.add(&middle) || inner.add(&outer));
    EXPECT_TRUE(inner.Members().empty());
    EXPECT_EQ(outer.Members(), (std::vector<UtStat*>{&middle, &inner}));
}

TEST(UtilStatsXml, TheParserReadsEveryTextBack) {
    // What the parser has to read; "?" stands for the replacement character.
    const std::pair<std::string, std::string> cases[] = {
        {"<a b=\"c\" d='e'>&amp; ]]> -->", "<a b=\"c\" d='e'>&amp; ]]> -->"},
        {" a\tb\nc\rd\r\ne z\u00e9\u20ac\U0001F600", " a\tb\nc\rd\r\ne z\u00e9\u20ac\U0001F600"},
        {std::string("a\0b\x01\x1f\x7f", 6), "a?b??\x7f"},
        {"\x80|\xff|\xc3", "?|?|?"},
        {"\xc0\xaf|\xe0\x80\xaf|\xf4\x90\x80\x80", "??|?|?"},  // longer than needed, or too much
        {"\xe2\x82|\xf0\x9f\x98|", "??|???|"},                 // cut short
        {"\xed\xa0\x80|\xef\xbf\xbe|", "?|?|"},                // surrogates and no characters
    };
    std::string document, wanted, path;
    XmlStatsWriter writer(&document);
    for (const auto& [text, read] : cases) {
        writer.LeafElement("s", text, std::array<StatsAttribute, 1>{{{"name", text}}});
        for (const char c : read + read) wanted += c == '?' ? "\uFFFD" : std::string(1, c);
    }
    for (std::size_t i = 1; i <= std::size(cases); ++i)
        path += "//s[" + std::to_string(i) + "],//s[" + std::to_string(i) + "]/@name,";
    writer.Finish();
    EXPECT_EQ(Xmllint(document, "--xpath 'concat(" + path + "\"\")'"), wanted + "\n");
}

TEST(UtilStatsXml, StaysWellFormedWhateverTheCalls) {
    using Attributes = std::array<StatsAttribute, 2>;
    std::string text;
    XmlStatsWriter writer(&text);
    writer.EndElement("statistics", true);  // not opened by a caller
    writer.BeginElement("a b<", Attributes{{{"x y", "1"}, {"x y", "2"}}});
    writer.BeginElement("", {});
    writer.EndElement("other", false);
    writer.LeafElement("9", "same line", Attributes{{{"", "1"}, {"\xff", "2"}}});
    writer.BeginElement("left-open", {});
    writer.Finish();
    const std::string finished = text;
    writer.BeginElement("late", {});
    writer.LeafElement("late", "", {});
    writer.EndElement("late", true);
    EXPECT_EQ(text, finished);
    EXPECT_EQ(Xmllint(text, "--xpath 'string(/statistics/a_b_/@x_y)'"), "1\n");
    EXPECT_NE(text.find("<_>\n    </_><_9 _=\"1\">same line</_9>\n"), std::string::npos) << text;
}

}  // namespace
