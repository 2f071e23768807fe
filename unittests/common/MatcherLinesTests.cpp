#include "settings/common/MatcherLines.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>

#include "zumra/osa/Exception.h"

namespace zumra::settings::common {
namespace {

using Strings = GroupNameMatcher::Strings;

std::string Lines(const GroupNameMatcher& matcher) {
    std::string out;
    MatcherLines::Append(out, matcher);
    return out;
}

GroupNameMatcher Read(const std::string& lines) {
    GroupNameMatcher matcher;
    std::istringstream in(lines);
    for (std::string line; std::getline(in, line);) {
        EXPECT_NE(line, ".");
        MatcherLines::Add(matcher, line);
    }
    return matcher;
}

TEST(MatcherLinesTests, WritesOrdinaryNamesAsTheyAre) {
    GroupNameMatcher matcher;
    matcher.AddName("Resources/DSP");
    matcher.AddName("");
    matcher.AddName(" blanks ");
    matcher.AddName("back\\slash");
    matcher.AddNameOrPattern("a*");
    matcher.AddNameOrPattern("*");
    EXPECT_EQ(Lines(matcher), "\n blanks \nResources/DSP\nback\\slash\n*\na*\n");
}

TEST(MatcherLinesTests, QuotesWhatWouldBeMisread) {
    GroupNameMatcher matcher;
    matcher.AddName(".");
    matcher.AddName("exact*");
    matcher.AddName("two\nlines");
    matcher.AddNameOrPattern("\"q*");
    matcher.AddNameOrPattern("two\nlines*");
    EXPECT_EQ(Lines(matcher), "\".\"\n\"exact*\"\n\"two\\nlines\"\n\"\\\"q\"*\n\"two\\nlines\"*\n");
}

TEST(MatcherLinesTests, AStarWithinQuotesIsPartOfTheName) {
    const GroupNameMatcher matcher = Read("\"a*\"\n\"b\"*\nc*\nd\n");
    EXPECT_EQ(matcher.Names(), (Strings{"a*", "d"}));
    EXPECT_EQ(matcher.Patterns(), (Strings{"b*", "c*"}));
}

TEST(MatcherLinesTests, MalformedLineAddsNothing) {
    GroupNameMatcher matcher;
    for (const char* line : {"\"open", "\"a\" b", "\"\\q\"", "\"a\"b*", "\"a\\\"*", "\"*", "\"\"**"}) {
        EXPECT_THROW(MatcherLines::Add(matcher, line), osa::Exception) << line;
    }
    EXPECT_TRUE(matcher.empty());
}

TEST(MatcherLinesTests, AnyNameAndPatternSurvives) {
    std::mt19937 random(7);
    const std::string alphabet("a.*\"\\\n\r\t \0[]n", 14);
    for (int round = 0; round < 20000; ++round) {
        GroupNameMatcher matcher;
        for (int i = 0; i < 3; ++i) {
            std::string text;
            for (auto length = random() % 6; length > 0; --length) {
                text += alphabet[random() % alphabet.size()];
            }
            random() % 2 == 0 ? matcher.AddName(text) : matcher.AddNameOrPattern(text);
        }
        const GroupNameMatcher read = Read(Lines(matcher));
        ASSERT_EQ(read.Names(), matcher.Names()) << Lines(matcher);
        ASSERT_EQ(read.Patterns(), matcher.Patterns()) << Lines(matcher);
    }
}

}  // namespace
}  // namespace zumra::settings::common
