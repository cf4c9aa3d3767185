// Words of a text: what is taken, and what stays for the next one.

#include "util/text/words.h"

#include <gtest/gtest.h>

namespace {

TEST(UtilWords, EachWordLeavesTheTextBehindIt) {
    const struct {
        std::string_view text, word, rest, trimmed;
    } cases[] = {
        {"", "", "", ""},
        {" \t", "", "", ""},
        {"a", "a", "", "a"},
        {"\t a,b  c\t", "a,b", "  c\t", "a,b  c"},
        {"a\nb ", "a\nb", " ", "a\nb"},  // only the characters listed separate
    };
    for (const auto& tested : cases) {
        std::string_view rest = tested.text;
        EXPECT_EQ(TakeWord(&rest, " \t"), tested.word) << tested.text;
        EXPECT_EQ(rest, tested.rest) << tested.text;
        EXPECT_EQ(Trimmed(tested.text, " \t"), tested.trimmed) << tested.text;
    }
}

}  // namespace
