#include "settings/common/LineCodec.h"

#include <gtest/gtest.h>

#include <string>

#include "support/Hostile.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings::common {
namespace {

using namespace std::string_literals;

std::string Error(const std::string& line) {
    try {
        return "no error: " + LineCodec::Decode(line);
    } catch (const osa::Exception& error) {
        return error.what();
    }
}

TEST(LineCodec, OrdinaryItemsStandAsTheyAre) {
    for (const char* item :
         {"", "group", "a*", "*", "..", " . ", ". ", "[a]", "a = b", "a\\n\"b\"", "a\rb", "# x"}) {
        EXPECT_EQ(item, LineCodec::Encode(item));
        EXPECT_EQ(item, LineCodec::Decode(item));
    }
}

TEST(LineCodec, QuotesWhatALineCannotCarry) {
    EXPECT_EQ("\".\"", LineCodec::Encode("."));
    EXPECT_EQ("\"\\\"a\\\"\"", LineCodec::Encode("\"a\""));
    EXPECT_EQ("\"a\\nb\"", LineCodec::Encode("a\nb"));
    EXPECT_EQ("\"a\\r\"", LineCodec::Encode("a\r"));
    EXPECT_EQ("\"\\n\\0\"", LineCodec::Encode("\n\0"s));
}

TEST(LineCodec, DropsTheCarriageReturnOfALineEnd) {
    EXPECT_EQ("a", LineCodec::Decode("a\r"));
    EXPECT_EQ(".", LineCodec::Decode("\".\"\r"));
    EXPECT_EQ("a\r", LineCodec::Decode("a\r\r"));
    EXPECT_EQ("", LineCodec::Decode("\r"));
}

TEST(LineCodec, MalformedQuotesAreErrors) {
    EXPECT_EQ("Failed to parse '\"a' as a list item: the closing quote is missing", Error("\"a"));
    EXPECT_EQ("Failed to parse '\"' as a list item: the closing quote is missing", Error("\""));
    EXPECT_EQ("Failed to parse '\"a\"b' as a list item: unexpected text after the closing quote",
              Error("\"a\"b"));
    EXPECT_EQ("Failed to parse '\"\\q\"' as a list item: unknown escape inside quotes", Error("\"\\q\""));
    EXPECT_EQ("Failed to parse '\"\\0' as a list item: the closing quote is missing", Error("\"\0"s));
}

TEST(LineCodec, AppendsToWhatIsThere) {
    std::string text = "before\n";
    LineCodec::AppendEncoded(text, "a");
    LineCodec::AppendEncoded(text, ".");
    EXPECT_EQ("before\na\".\"", text);
}

TEST(LineCodec, EveryShortTextComesBackFromOneLineAndIsQuotedOnlyWhereNeeded) {
    for (const std::string& item : test::ShortHostileTexts(3)) {
        const std::string line = LineCodec::Encode(item);
        ASSERT_EQ(item, LineCodec::Decode(line));
        ASSERT_EQ(item, LineCodec::Decode(line + "\r"));
        ASSERT_NE(".", line);
        ASSERT_EQ(line.npos, line.find('\n'));
        if (line != item) {
            const bool plainWorks = item != "." && item.find('\n') == item.npos &&
                                    (item.empty() || item.front() != '"') && LineCodec::Decode(item) == item;
            ASSERT_FALSE(plainWorks) << line;
        }
    }
}

TEST(LineCodec, RandomItemsComeBack) {
    test::HostileTexts random(1);
    for (int i = 0; i < 20000; ++i) {
        const std::string item = random.Text();
        ASSERT_EQ(item, LineCodec::Decode(LineCodec::Encode(item)));
    }
}

}  // namespace
}  // namespace zumra::settings::common
