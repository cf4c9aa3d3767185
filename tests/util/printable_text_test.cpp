// Text for terminals: what stays and what is escaped.

#include "util/text/printable_text.h"

#include <gtest/gtest.h>

namespace {

TEST(UtilPrintableText, ControlsAndBrokenCharactersAreEscaped) {
    const std::pair<std::string_view, const char*> cases[] = {
        {"/a b/\\c'd\".ptc", "/a b/\\c'd\".ptc"},
        {"a\nb\r\t\x1b[2J\x7f", "a\\nb\\r\\t\\x1b[2J\\x7f"},
        {std::string_view("\0z", 2), "\\x00z"},
        {"\xc3\xa4 \xe2\x82\xac \xf0\x9f\x98\x80", "\xc3\xa4 \xe2\x82\xac \xf0\x9f\x98\x80"},
        {"\xc2\x9b"
         "31m",
         "\\xc2\\x9b31m"},  // a control sequence in one character
        {"\xc0\x8a\xe0\x8a\x8a", "\\xc0\\x8a\\xe0\\x8a\\x8a"},  // newlines, overlong
        {"\xed\xa0\x80\xf4\x90\x80\x80", "\\xed\\xa0\\x80\\xf4\\x90\\x80\\x80"},
        {"\xe2\x82", "\\xe2\\x82"},
    };
    for (const auto& [text, printable] : cases) EXPECT_EQ(Printable(text), printable);
    EXPECT_STREQ(PrintableText<3>("\x7f\x7f\x7f").c_str(), "\\x7f\\x7f\\x7f");
    char room[6];
    EXPECT_EQ(WritePrintable("ab\x1b"
                             "c\n",
                             room),
              2u + 4u)
        << "no escape is cut";
    EXPECT_EQ(WritePrintable("\xe2\x82\xac\xe2\x82\xac\xe2\x82\xac", std::span(room).first(5)), 3u);
}

}  // namespace
