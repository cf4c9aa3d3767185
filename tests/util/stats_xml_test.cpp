// The XML report, read back by a real parser.

#include "util/stats_xml.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <string>

#include "tests/support/scratch.h"
#include "util/stats.h"

namespace {

/// What xmllint prints for `options` and the document; `*status`: its exit status.
std::string Xmllint(const std::string& document, const std::string& options, int* status) {
    const ScratchFolder folder;
    const std::string file = folder.File("report.xml");
    std::ofstream(file, std::ios::binary) << document;
    const std::string command = "xmllint --nonet " + options + " " + file + " 2>&1";
    std::FILE* const pipe = popen(command.c_str(), "r");
    if (!pipe) return "no xmllint";
    std::string printed;
    for (int c = 0; (c = std::fgetc(pipe)) != EOF;) printed += static_cast<char>(c);
    *status = pclose(pipe);
    return printed;
}

void ExpectWellFormed(const std::string& document) {
    int status = -1;
    EXPECT_EQ(Xmllint(document, "--noout", &status), "") << document;
    EXPECT_EQ(status, 0);
}

/// What the parser finds at `path`, without the newline that xmllint adds.
std::string ValueAt(const std::string& document, const std::string& path) {
    int status = -1;
    std::string value = Xmllint(document, "--xpath 'string(" + path + ")'", &status);
    EXPECT_EQ(status, 0) << value;
    if (value.ends_with('\n')) value.pop_back();
    return value;
}

TEST(UtilStatsXml, ReportIsIndentedAndWellFormed) {
    UtCounterStat<unsigned int> count("files", "Files & folders");
    UtMemStat memory("mem", "Memory");
    memory.Add(4096);
    UtStatsList inner("", "inner", "");
    UtStatsList outer("section", "outer", "Outer");
    inner.add(&count);
    outer.add(&inner);
    outer.add(&memory);
    std::string text;
    XmlStatsWriter writer(&text);
    outer.write(writer);
    count.write(writer);
    writer.Finish();
    EXPECT_EQ(text,
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<statistics>\n"
              "  <stats name=\"outer\" description=\"Outer\" kind=\"section\">\n"
              "    <stats name=\"inner\" description=\"\">\n"
              "      <int name=\"files\" description=\"Files &amp; folders\">0</int>\n"
              "    </stats>\n"
              "    <memory name=\"mem\" description=\"Memory\">\n"
              "      <peak>4096</peak>\n"
              "      <current>4096</current>\n"
              "    </memory>\n"
              "  </stats>\n"
              "  <int name=\"files\" description=\"Files &amp; folders\">0</int>\n"
              "</statistics>\n");
    ExpectWellFormed(text);
}

TEST(UtilStatsXml, TheParserReadsEveryTextBack) {
    const std::string bad = "\xEF\xBF\xBD";
    struct Case {
        const char* name;
        std::string text, read;
    } const cases[] = {
        {"markup", "<a b=\"c\" d='e'>&amp; ]]> -->", "<a b=\"c\" d='e'>&amp; ]]> -->"},
        {"white space", " a\tb\nc\rd\r\ne ", " a\tb\nc\rd\r\ne "},
        {"UTF-8 of every length", "z\u00e9\u20ac\U0001F600", "z\u00e9\u20ac\U0001F600"},
        {"control characters", std::string("a\0b\x01\x1f\x7f", 6),
         "a" + bad + "b" + bad + bad + "\x7f"},
        {"lone bytes", "\x80|\xff|\xc3", bad + "|" + bad + "|" + bad},
        {"longer than needed", "\xc0\xaf|\xe0\x80\xaf", bad + bad + "|" + bad},
        {"cut short", "\xe2\x82|\xf0\x9f\x98|", bad + bad + "|" + bad + bad + bad + "|"},
        {"surrogates and no characters", "\xed\xa0\x80|\xef\xbf\xbe|", bad + "|" + bad + "|"},
        {"beyond Unicode", "\xf4\x90\x80\x80", bad},
    };
    for (const Case& tested : cases) {
        SCOPED_TRACE(tested.name);
        std::string document;
        XmlStatsWriter writer(&document);
        writer.LeafElement("string", tested.text,
                           std::array<StatsAttribute, 1>{{{"name", tested.text}}});
        writer.Finish();
        ExpectWellFormed(document);
        EXPECT_EQ(ValueAt(document, "//string"), tested.read);
        EXPECT_EQ(ValueAt(document, "//string/@name"), tested.read);
    }
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
    writer.Finish();
    writer.BeginElement("late", {});
    writer.LeafElement("late", "", {});
    writer.EndElement("late", true);
    EXPECT_EQ(text, finished);
    ExpectWellFormed(text);
    EXPECT_EQ(ValueAt(text, "/statistics/a_b_/@x_y"), "1");
    EXPECT_NE(text.find("<_>\n    </_><_9 _=\"1\">same line</_9>\n"), std::string::npos) << text;
}

}  // namespace
