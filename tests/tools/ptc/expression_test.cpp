// Expressions: their values, and what is refused, where and why.

#include "tools/ptc/expression/expression.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "ptc/format/record_code.h"
#include "tools/ptc/expression/expression_error.h"

using expression::Expression;
using expression::ExpressionError;

namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

/// A point, and variables of all kinds of sizes and names.
class Expressions : public testing::Test {
protected:
    Expressions() {
        const PointHead head{{1, -2, 3}, {0, 0, 1}, 0.5f};
        const float data[] = {4, 5, 6, 0.1f, 7, NAN, 8, 9, 10, 11, 12};
        record_.resize(ptc_layout::PointBytes(std::size(data)));
        EncodePoint(head, EncodeNormal(0, 0, 1),
                    {std::as_bytes(std::span(data)).data(), sizeof data, sizeof data},
                    record_.data());
    }

    double Value(const std::string& text, expression::Lane lane = {}) {
        return Expression(text, fields_, lane).Of({record_.data()});
    }

    std::string Error(const std::string& text) {
        try {
            Expression made(text, fields_);
            return "none";
        } catch (const ExpressionError& error) {
            return error.what();
        }
    }

    const expression::PointFields fields_{
        {{"color", "float", "float", "float", "float[4]", "float", "float[0]"},
         {"_radiosity", "_area", "x", "nothing", "many", "odd name-1.r", "none"},
         {3, 1, 1, 1, 4, 1, 0},
         11}};
    std::vector<std::byte> record_;
};

TEST_F(Expressions, HaveTheValuesOfArithmetic) {
    const struct {
        const char* text;
        double value;
    } kCases[] = {
        {"1 + 2 * 3 - 8 / 4", 5},
        {"(1 + 2) * -(3 - 8) / 4", 3.75},
        {"2 - 3 - 4", -5},
        {"8 / 4 / 2", 1},
        {"-x * -2", 2},
        {"- - + -x", -1},
        {"2--x", 3},
        {"1e-3*.5", 0.0005},
        {"0.1 + 0.2", 0.1 + 0.2},
        {"x + y * z", -5},
        {"\"x\"", 7},
        {"`odd name-1.r` + 'x'", 19},
        {"_radiosity.r + _radiosity.y * 10 + _radiosity[2] * 100", 654},
        {"many[3]", 11},
        {"_area", static_cast<double>(0.1f)},
        {"_area == 0.1", 0},
        {"length(_radiosity)", std::sqrt(77.0)},
        {"length(x, y, 2)", 3},
        {"radius / 0", HUGE_VAL},
        {"-1 / 0", -HUGE_VAL},
        {"0 / 0", kNan},
        {"sqrt(-1)", kNan},
        {"sqrt(2) * sqrt(2)", std::sqrt(2.0) * std::sqrt(2.0)},
        {"abs(y) + abs(3)", 5},
        {"min(3, 1, 2) + max(3, 1, 2) * 10", 31},
        {"min(nothing, 2) + max(2, nothing, 1)", 4},
        {"max(nothing, 0/0)", kNan},
        {"isfinite(nothing) or isfinite(1/0)", 0},
        {"isfinite(x)", 1},
        {"nothing < 1 or nothing >= 1 or nothing == nothing", 0},
        {"nothing != nothing", 1},
        {"1 < 2 and 2 <= 2 and 3 > 2 and 3 >= 3 and 1 != 2", 1},
        {"x > 1 or y < 0 and z > 5", 0},
        {"(x > 1 or y < 0) and z > 2", 1},
        {"not x > 1 and not (y > 0)", 1},
        {"not not x == 1", 1},
        {"not x == 1 or z == 3", 1},
        {"x+1 > y*2", 1},
        {"1+x*2 == 3 and x-1 == 0", 1},
    };
    for (const auto& row : kCases) {
        const double value = Value(row.text);
        if (std::isnan(row.value)) {
            EXPECT_TRUE(std::isnan(value)) << row.text;
        } else {
            EXPECT_EQ(value, row.value) << row.text;
        }
    }
    EXPECT_EQ(Value("_radiosity * 2", {1, 3}), 10);
    EXPECT_EQ(Value("many + length(_radiosity) * 0", {3, 4}), 11);
    EXPECT_NEAR(Value("nz"), 1, 1e-4);
    const float normal[] = {0.25f, 0, 0};
    EXPECT_EQ(Expression("nx", fields_).Of({record_.data(), normal}), 0.25);
}

TEST_F(Expressions, AreRefusedWithTheReasonAndThePlace) {
    const struct {
        const char* text;
        const char* error;
    } kCases[] = {
        {"", "1: a value is missing at the end"},
        {"x +", "4: a value is missing at the end"},
        {"* x", "1: a value is missing before \"*\""},
        {"(x", "1: this bracket is not closed"},
        {"max(1, (x", "8: this bracket is not closed"},
        {"x)", "2: this bracket was not opened"},
        {"()", "2: a value is missing before \")\""},
        {"x y", "3: an operator is missing before \"y\""},
        {"x, y", "2: a comma belongs between the numbers that a function takes"},
        {"1 < x < 2", "7: comparisons do not chain: join two of them with \"and\""},
        {"x and y > 1", "3: \"and\" needs a condition before it, and there is a number"},
        {"y > 1 or x", "7: a condition is needed behind this, and there is a number"},
        {"(y > 1) + 1", "9: \"+\" needs a number before it, and there is a condition"},
        {"1 + (y > 1)", "5: a number is needed here, and this is a condition"},
        {"-isfinite(x)", "2: a number is needed here, and this is a condition"},
        {"not x", "1: \"not\" needs a condition behind it, and there is a number"},
        {"1 + not x", "5: \"not\" belongs before a whole condition"},
        {"sqrt(x > 1)", "1: sqrt takes one number, and this is a condition"},
        {"sqrt(1, 2)", "1: sqrt takes one number"},
        {"min(1)", "1: min takes two numbers or more"},
        {"length(x)", "1: length takes a variable of three floats, or three numbers"},
        {"sin(x)",
         "1: there is no function \"sin\"; there are min, max, abs, sqrt, length and "
         "isfinite"},
        {"_radiosty.r", "1: there is no \"_radiosty\"; the nearest is _radiosity"},
        {"'y'",
         "1: there is no \"y\"; there are _radiosity, _area, x, nothing, many, "
         "\"odd name-1.r\", none"},
        {"1 + \"odd name\"", "5: there is no \"odd name\"; the nearest is \"odd name-1.r\""},
        {"_radiosity + 1",
         "1: a number is needed here, and _radiosity has 3 floats: "
         "_radiosity.r or .x is the first"},
        {"many.r", "5: many has 4 floats, [0] to [3]"},
        {"many[4]", "5: many has 4 floats, [0] to [3]"},
        {"x.y", "2: x has 1 float, [0] to [0]"},
        {"many[99999999999999999999]", "5: many has 4 floats, [0] to [3]"},
        {"many[1", "5: this bracket is not closed"},
        {"many[-1]", "6: a whole number stands in these brackets"},
        {"many.", "6: a letter such as r or x follows the point"},
        {"none", "1: none has no floats"},
        {"x = 1", "3: \"==\" compares; nothing can be assigned here"},
        {"x && y", "3: \"and\" joins conditions"},
        {"x ? y : z", "3: \"?\" means nothing here"},
        {"x ^ 2", "3: \"^\" means nothing here"},
        {"x; y", "2: \";\" means nothing here"},
        {"'x", "1: this quote is not closed"},
        {"1e999", "1: the number 1e999 is too large or too small"},
        {"0x10", "2: a number cannot go on like this"},
        {"1.2.3", "4: a number cannot go on like this"},
        {"caf\xc3\xa9 + 1",
         "1: there is no \"caf\xc3\xa9\"; there are x, y, z, nx, ny, nz, "
         "radius, _radiosity, _area, x, nothing, many, \"odd name-1.r\", none"},
    };
    for (const auto& row : kCases)
        EXPECT_EQ(Error(row.text), "expression, character " + std::string(row.error)) << row.text;
    EXPECT_THROW(expression::Condition("x", fields_), ExpressionError);
}

std::string Times(std::size_t count, const std::string& text) {
    std::string all;
    while (count-- > 0) all += text;
    return all;
}

/// Neither a crash nor a hang: limits that no one's expression reaches, and everything below them.
TEST_F(Expressions, EndInAnErrorWhereTheyAreHostile) {
    const std::string deep = "expression, character 101: brackets are nested deeper than 100";
    EXPECT_EQ(Error(Times(5000, "(") + "x" + Times(5000, ")")).substr(0, 31),
              "expression, character 10001: it");
    EXPECT_EQ(Error(Times(4000, "(") + "x" + Times(4000, ")")), deep);
    EXPECT_EQ(Error(Times(10000, "(")), deep);
    EXPECT_EQ(Error(Times(101, "(") + "x" + Times(101, ")")), deep);
    EXPECT_EQ(Value(Times(100, "(") + "x" + Times(100, ")")), 1);
    EXPECT_EQ(Error(Times(1 << 20, "x")),
              "expression, character 10001: it is longer than 10000 bytes");
    EXPECT_EQ(Error(Times(2000, "not ") + "x > 1").substr(0, 26), "expression, character 401:");
    EXPECT_EQ(Value(Times(9999, "-") + "x"), -1);
    EXPECT_EQ(Value("0" + Times(4999, "+x")), 4999);
    EXPECT_EQ(Value("max(0" + Times(4900, ",x") + ")"), 1);
    EXPECT_EQ(Value(Times(99, "max(") + "x" + Times(99, ",1)")), 1);
    EXPECT_EQ(Value("x>1" + Times(1100, " or x==1")), 1);
}

TEST_F(Expressions, ShowTheirPlaceWithACaret) {
    const auto excerpt = [&](const std::string& text) {
        try {
            Expression made(text, fields_);
        } catch (const ExpressionError& error) {
            return error.Excerpt();
        }
        return std::string();
    };
    EXPECT_EQ(excerpt("'\xc3\xa9\x1b' + x"), "  '\xc3\xa9\\x1b' + x\n  ^\n");
    EXPECT_EQ(excerpt("x > '\xc3\xa9' $"), "  x > '\xc3\xa9' $\n          ^\n");
    EXPECT_EQ(
        excerpt(Times(100, "x+") + "$" + Times(100, "x")),
        "  ..." + Times(25, "x+") + "$" + Times(24, "x") + "...\n  " + Times(53, " ") + "^\n");
}

}  // namespace
