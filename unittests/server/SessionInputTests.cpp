#include "settings/server/SessionInput.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace zumra::settings::server {
namespace {

constexpr const char* kTooLong = "<too long>";

/// Every line that there is, those that the input's end cut off marked with "|".
void TakeLines(LineBuffer& buffer, std::vector<std::string>& lines) {
    while (const auto line = buffer.NextLine()) {
        lines.push_back((line->tooLong ? kTooLong : std::string(line->text)) + (line->cut ? "|" : ""));
    }
}

std::vector<std::string> Lines(std::string_view input, std::size_t limit, std::size_t piece) {
    LineBuffer buffer(limit);
    std::vector<std::string> lines;
    for (; !input.empty(); input.remove_prefix(std::min(piece, input.size()))) {
        buffer.Append(input.substr(0, piece));
        TakeLines(buffer, lines);
    }
    buffer.Finish();
    TakeLines(buffer, lines);
    return lines;
}

TEST(SessionInputTests, LinesWithEitherLineEnd) {
    const std::vector<std::string> expected{"a", "", "b\r", "c", "|"};
    for (std::size_t piece = 1; piece < 12; ++piece) {
        EXPECT_EQ(Lines("a\n\r\nb\r\r\nc\n\r", 100, piece), expected) << piece;
    }
}

TEST(SessionInputTests, TheEndOfTheInputEndsALine) {
    EXPECT_EQ(Lines("a\nb", 100, 1), (std::vector<std::string>{"a", "b|"}));
    EXPECT_EQ(Lines("a\n", 100, 1), std::vector<std::string>{"a"});
    EXPECT_EQ(Lines("", 100, 1), std::vector<std::string>{});
}

TEST(SessionInputTests, LongLines) {
    for (std::size_t piece = 1; piece < 12; ++piece) {
        EXPECT_EQ(
            Lines("1234\n12345\n1234\r\n12345\r\n\n123456789", 4, piece),
            (std::vector<std::string>{"1234", kTooLong, "1234", kTooLong, "", kTooLong + std::string("|")}))
            << piece;
    }
}

TEST(SessionInputTests, NoLengthAtAll) {
    EXPECT_EQ(Lines("\na\n\n", 0, 1), (std::vector<std::string>{"", kTooLong, ""}));
}

TEST(SessionInputTests, KeepsNoMoreOfALongLineThanItsLimit) {
    LineBuffer buffer(1000);
    const std::string piece(100, 'x');
    for (int i = 0; i < 1000; ++i) {
        buffer.Append(piece);
        EXPECT_FALSE(buffer.NextLine());
        ASSERT_LE(buffer.size(), 1001U);
    }
    buffer.Append("\nshort\n");
    EXPECT_TRUE(buffer.NextLine()->tooLong);
    EXPECT_EQ(buffer.NextLine()->text, "short");
}

/// With a search that begins anew for each byte this takes hours.
TEST(SessionInputTests, LooksAtEachByteOnce) {
    constexpr std::size_t kLength = 4'000'000;
    LineBuffer buffer(kLength);
    for (std::size_t i = 0; i < kLength; ++i) {
        buffer.Append("x");
        ASSERT_FALSE(buffer.NextLine());
    }
    buffer.Append("\n");
    EXPECT_EQ(buffer.NextLine()->text.size(), kLength);
}

TEST(SessionInputTests, RawBytesAndLinesMix) {
    LineBuffer buffer(100);
    buffer.Append("line\nraw");
    EXPECT_EQ(buffer.NextLine()->text, "line");
    EXPECT_EQ(buffer.Bytes(), "raw");
    buffer.Consume(2);
    EXPECT_EQ(buffer.Bytes(), "w");
    buffer.Append("est\nnext\n");
    EXPECT_EQ(buffer.NextLine()->text, "west");
    buffer.Consume(1);
    EXPECT_EQ(buffer.NextLine()->text, "ext");
    EXPECT_FALSE(buffer.NextLine());
    EXPECT_EQ(buffer.size(), 0U);
}

}  // namespace
}  // namespace zumra::settings::server
