// The format's page and the constants say the same.

#include "ptc/format/layout.h"

#include <gtest/gtest.h>

#include <fstream>
#include <regex>

namespace {

TEST(PtcLayout, RowsOfThePageAreTheConstants) {
    std::vector<ptc_layout::Field> fields;
    const auto append = [&](const auto& rows) {
        fields.insert(fields.end(), rows.begin(), rows.end());
    };
    append(ptc_layout::kHead);
    append(ptc_layout::kBlock);
    append(ptc_layout::kFixed);
    append(ptc_layout::kPoint);
    append(ptc_layout::kNode);

    std::ifstream page("docs/format.md");
    ASSERT_TRUE(page) << "run from the repository root";
    const std::regex row(R"(\|\s*(\d+) \|\s*(\d+) \| (\w+)\s*\|.*)");
    std::size_t seen = 0;
    std::smatch cell;
    for (std::string line; std::getline(page, line);) {
        if (!std::regex_match(line, cell, row)) continue;
        SCOPED_TRACE(line);
        ASSERT_LT(seen, fields.size());
        const ptc_layout::Field& field = fields[seen++];
        EXPECT_EQ(cell[3], std::string(field.key));
        EXPECT_EQ(std::stoul(cell[1]), field.offset);
        EXPECT_EQ(std::stoul(cell[2]), field.bytes);
    }
    EXPECT_EQ(seen, fields.size());
}

}  // namespace
