#include "settings/client/ValueText.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

namespace zumra::settings::client {
namespace {

// No number in any form.
const char* const kNoNumbers[] = {
    "",  " ",   "not a number", " 1",  "1 ",  "\t1", "1\n",  "1 2",   "1,5",      "0x10", "1x", "x1", "-",
    "+", "--1", "++1",          "+-1", "-+1", "- 1", "true", "1'000", "\xd9\xa1", "1e",   "e1", ".",  "1..2"};

template <class Integer>
void ExpectWholeRange() {
    const auto lowest = std::numeric_limits<Integer>::min();
    const auto highest = std::numeric_limits<Integer>::max();
    EXPECT_EQ(ParseInteger<Integer>(std::to_string(lowest)), lowest);
    EXPECT_EQ(ParseInteger<Integer>(std::to_string(highest)), highest);
    EXPECT_EQ(ParseInteger<Integer>("+" + std::to_string(highest)), highest);
    EXPECT_EQ(ParseInteger<Integer>(std::to_string(highest) + "0"), std::nullopt);
    EXPECT_EQ(ParseInteger<Integer>("99999999999999999999999"), std::nullopt);
    EXPECT_EQ(ParseInteger<Integer>("-99999999999999999999999"), std::nullopt);
    EXPECT_EQ(ParseInteger<Integer>("007"), Integer{7});
    for (const char* text : kNoNumbers) {
        EXPECT_EQ(ParseInteger<Integer>(text), std::nullopt) << text;
    }
    EXPECT_EQ(ParseInteger<Integer>("1.0"), std::nullopt);
    EXPECT_EQ(ParseInteger<Integer>("1e3"), std::nullopt);
    EXPECT_EQ(ParseInteger<Integer>(std::string("1\0", 2)), std::nullopt);
}

TEST(ValueTextTests, ReadsIntegersOfTheWholeRangeAndNothingElse) {
    ExpectWholeRange<int>();
    ExpectWholeRange<unsigned>();
    ExpectWholeRange<std::int64_t>();
    ExpectWholeRange<std::uint64_t>();
}

TEST(ValueTextTests, RefusesTheFirstIntegersOutsideTheRange) {
    EXPECT_EQ(ParseInteger<int>("2147483648"), std::nullopt);
    EXPECT_EQ(ParseInteger<int>("-2147483649"), std::nullopt);
    EXPECT_EQ(ParseInteger<unsigned>("4294967296"), std::nullopt);
    EXPECT_EQ(ParseInteger<std::int64_t>("9223372036854775808"), std::nullopt);
    EXPECT_EQ(ParseInteger<std::int64_t>("-9223372036854775809"), std::nullopt);
    EXPECT_EQ(ParseInteger<std::uint64_t>("18446744073709551616"), std::nullopt);
}

TEST(ValueTextTests, ReadsSigns) {
    EXPECT_EQ(ParseInteger<int>("-123"), -123);
    EXPECT_EQ(ParseInteger<int>("+123"), 123);
    EXPECT_EQ(ParseInteger<int>("-0"), 0);
    EXPECT_EQ(ParseInteger<unsigned>("-1"), std::nullopt);
    EXPECT_EQ(ParseInteger<unsigned>("-0"), std::nullopt);
    EXPECT_EQ(ParseDouble("-0.5"), -0.5);
    EXPECT_EQ(ParseDouble("+0.5"), 0.5);
}

TEST(ValueTextTests, ReadsFiniteDecimalDoubles) {
    EXPECT_EQ(ParseDouble("23"), 23.0);
    EXPECT_EQ(ParseDouble("1.5"), 1.5);
    EXPECT_EQ(ParseDouble(".5"), 0.5);
    EXPECT_EQ(ParseDouble("2."), 2.0);
    EXPECT_EQ(ParseDouble("1e-3"), 0.001);
    EXPECT_EQ(ParseDouble("1E+3"), 1000.0);
    EXPECT_EQ(ParseDouble("1.7976931348623157e308"), std::numeric_limits<double>::max());
    for (const char* text : kNoNumbers) {
        EXPECT_EQ(ParseDouble(text), std::nullopt) << text;
    }
    for (const char* text :
         {"inf", "-inf", "infinity", "nan", "NAN", "nan(1)", "1e999", "-1e999", "1e-999", "0x1p3"}) {
        EXPECT_EQ(ParseDouble(text), std::nullopt) << text;
    }
}

TEST(ValueTextTests, ReadsTwoBooleans) {
    EXPECT_EQ(ParseBool("true"), true);
    EXPECT_EQ(ParseBool("false"), false);
    for (const char* text :
         {"", "True", "TRUE", "1", "0", "yes", "on", " true", "true ", "truefalse", "tru"}) {
        EXPECT_EQ(ParseBool(text), std::nullopt) << text;
    }
}

TEST(ValueTextTests, BringsAmountsIntoTheRangeOfInt) {
    EXPECT_EQ(ParseAmount("0"), 0);
    EXPECT_EQ(ParseAmount("+5"), 5);
    EXPECT_EQ(ParseAmount("0005"), 5);
    EXPECT_EQ(ParseAmount("-5"), 0);
    EXPECT_EQ(ParseAmount("-99999999999999999999"), 0);
    EXPECT_EQ(ParseAmount("2147483647"), 2147483647);
    EXPECT_EQ(ParseAmount("2147483648"), 2147483647);
    EXPECT_EQ(ParseAmount("99999999999999999999"), 2147483647);
    EXPECT_EQ(ParseAmount("00000000000000000000000000001"), 1);
    for (const char* text : kNoNumbers) {
        EXPECT_EQ(ParseAmount(text), std::nullopt) << text;
    }
    EXPECT_EQ(ParseAmount("1.5"), std::nullopt);
    EXPECT_EQ(ParseAmount("99999999999999999999x"), std::nullopt);
}

}  // namespace
}  // namespace zumra::settings::client
