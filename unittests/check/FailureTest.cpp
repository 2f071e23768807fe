#include "zumra/check/Failure.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>
#include <vector>

#include "check/FirstFailure.h"
#include "check/ReportText.h"
#include "check/Watchdog.h"

namespace zumra::check {
namespace {

const std::string kEuro = "\xE2\x82\xAC";

std::string Kept(const std::string& text) {
    FirstFailure failure;
    failure.Note(text, "file", 1);
    return failure.Text();
}

TEST(FirstFailure, KeepsTheFirst) {
    FirstFailure failure;
    EXPECT_FALSE(failure.IsSet());
    failure.Note("first", "a.cpp", 7);
    failure.Note("second", "b.cpp", 8);
    EXPECT_TRUE(failure.IsSet());
    EXPECT_STREQ(failure.Text(), "first");
    EXPECT_STREQ(failure.Place(), "a.cpp:7");
    failure.Clear();
    EXPECT_FALSE(failure.IsSet());
    failure.Note("third", "c.cpp", 9);
    EXPECT_STREQ(failure.Text(), "third");
}

TEST(FirstFailure, KeepsOneOfManyAtOnceWhole) {
    for (int round = 0; round < 50; ++round) {
        FirstFailure failure;
        std::vector<std::thread> threads;
        for (char letter = 'a'; letter < 'e'; ++letter)
            threads.emplace_back([&failure, letter] {
                failure.Note(std::string(3000, letter), std::string(100, letter).c_str(), 1);
                EXPECT_TRUE(failure.IsSet());
            });
        for (std::thread& thread : threads)
            thread.join();
        const char winner = failure.Text()[0];
        EXPECT_EQ(failure.Text(), std::string(3000, winner));
        EXPECT_EQ(failure.Place(), std::string(100, winner) + ":1");
    }
}

TEST(FirstFailure, CutsLongTextsBetweenCharacters) {
    EXPECT_EQ(Kept(std::string(4000, 'x')), std::string(4000, 'x'));
    EXPECT_EQ(Kept(std::string(4001, 'x')), std::string(4000, 'x'));
    for (std::size_t before = 3996; before <= 4000; ++before) {
        const std::string start(before, 'x');
        EXPECT_EQ(Kept(start + kEuro + "tail"),
                  before <= 3997 ? (start + kEuro + "tail").substr(0, 4000) : start);
    }
}

TEST(FirstFailure, CutsBytesThatAreNoCharacters) {
    EXPECT_EQ(Kept(std::string(5000, '\x80')).size(), 4000U);
    EXPECT_EQ(Kept(std::string(5000, '\0')).size(), 4000U);
}

TEST(FirstFailure, ShowsNul) {
    EXPECT_EQ(Kept(std::string("a\0b", 3)), "a\\0b");
}

TEST(FirstFailure, CutsLongFileNames) {
    FirstFailure failure;
    failure.Note("text", std::string(100000, 'f').c_str(), 2147483647);
    EXPECT_EQ(failure.Place(), std::string(500, 'f') + ":2147483647");
}

TEST(MismatchedStrings, AreShownWhole) {
    EXPECT_EQ(CreateMismatchedStringErrorMessage("abc", "abd"), "expected: abc but got: abd");
    EXPECT_EQ(CreateMismatchedStringErrorMessage("", ""), "expected:  but got: ");
    const std::string large(1900, 'x');
    EXPECT_EQ(CreateMismatchedStringErrorMessage(large, large), "expected: " + large + " but got: " + large);
}

TEST(MismatchedStrings, AreShownAroundTheDifferenceWhenLong) {
    const std::string same(50000, 's');
    const std::string message =
        CreateMismatchedStringErrorMessage(same + "left" + same, same + "right" + std::string(10, 't'));
    const std::string before(100, 's');
    EXPECT_EQ(message, "expected: ..." + before + "left" + std::string(1796, 's') + "... but got: ..." +
                           before + "right" + std::string(10, 't'));
}

TEST(MismatchedStrings, AreCutBetweenCharacters) {
    std::string same;
    for (int i = 0; i < 1000; ++i)
        same += "\xF0\x9F\x98\x80";
    for (const char* shift : {"", "1", "22", "333"}) {
        const std::string message = CreateMismatchedStringErrorMessage(same + shift + "left" + shift + same,
                                                                       same + shift + "right" + same);
        EXPECT_EQ(Printable(message), message);
        EXPECT_LE(message.size(), FirstFailure::kTextLimit);
    }
    const std::string noText(5000, '\x80');
    EXPECT_EQ(CreateMismatchedStringErrorMessage(noText, ""),
              "expected: " + noText.substr(0, 1900) + "... but got: ");
}

TEST(MismatchedStrings, AreShownWhenOneIsTheStartOfTheOther) {
    const std::string text(5000, 's');
    EXPECT_EQ(CreateMismatchedStringErrorMessage(text, ""),
              "expected: " + std::string(1900, 's') + "... but got: ");
    EXPECT_EQ(CreateMismatchedStringErrorMessage(text, text + "t"),
              "expected: ..." + std::string(100, 's') + " but got: ..." + std::string(100, 's') + "t");
}

class AllowedTimeTest : public testing::Test {
protected:
    void SetUp() override { TearDown(); }
    void TearDown() override {
        unsetenv("CK_DEFAULT_TIMEOUT");
        unsetenv("CK_TIMEOUT_MULTIPLIER");
    }
    static double Of(double seconds) { return AllowedTime(Watchdog::Seconds(seconds)).count(); }
};

TEST_F(AllowedTimeTest, IsChecksDefaultUnlessTheTestCaseHasItsOwn) {
    EXPECT_EQ(Of(0), 4);
    EXPECT_EQ(Of(3), 3);
}

TEST_F(AllowedTimeTest, FollowsTheEnvironment) {
    setenv("CK_DEFAULT_TIMEOUT", "1.5", 1);
    EXPECT_EQ(Of(0), 1.5);
    EXPECT_EQ(Of(3), 3);
    setenv("CK_TIMEOUT_MULTIPLIER", "10", 1);
    EXPECT_EQ(Of(0), 15);
    EXPECT_EQ(Of(3), 30);
    setenv("CK_DEFAULT_TIMEOUT", "0", 1);
    EXPECT_EQ(Of(0), 0);
}

TEST_F(AllowedTimeTest, IgnoresWhatIsNoNumber) {
    setenv("CK_DEFAULT_TIMEOUT", "soon", 1);
    setenv("CK_TIMEOUT_MULTIPLIER", "2x", 1);
    EXPECT_EQ(Of(0), 4);
    setenv("CK_DEFAULT_TIMEOUT", "-1", 1);
    EXPECT_EQ(Of(0), 4);
    setenv("CK_DEFAULT_TIMEOUT", "", 1);
    EXPECT_EQ(Of(0), 4);
}

}  // namespace
}  // namespace zumra::check
