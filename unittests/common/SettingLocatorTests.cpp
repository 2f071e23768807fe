#include "zumra/settings/common/SettingLocator.h"

#include <gtest/gtest.h>

#include <string>

#include "support/Hostile.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings::common {
namespace {

using namespace std::string_literals;

void ExpectLocator(const std::string& text, const std::string& group, const std::string& name) {
    const auto locator = SettingLocator::Parse(text);
    EXPECT_EQ(group, locator.group) << text;
    EXPECT_EQ(name, locator.name) << text;
}

std::string Error(const std::string& text) {
    try {
        static_cast<void>(SettingLocator::Parse(text));
    } catch (const osa::Exception& error) {
        return error.what();
    }
    return "no error";
}

TEST(SettingLocator, ReadsGroupAndName) {
    ExpectLocator("[section1]value1", "section1", "value1");
    ExpectLocator("[a/b]c/d", "a/b", "c/d");
    ExpectLocator("[]name", "", "name");
    ExpectLocator("[group]", "group", "");
    ExpectLocator("[]", "", "");
}

TEST(SettingLocator, TakesBlanksAndBracketsAsTheyStand) {
    ExpectLocator("[ g ] n ", " g ", " n ");
    ExpectLocator("[a]b]c", "a", "b]c");
    ExpectLocator("[[a]b", "[a", "b");
    ExpectLocator("[a]\\n", "a", "\\n");
    ExpectLocator("[a\"b]c\"d\"", "a\"b", "c\"d\"");
}

TEST(SettingLocator, ReadsQuotedParts) {
    ExpectLocator("[\"a]b\"]name", "a]b", "name");
    ExpectLocator("[group]\"x\\ny\"", "group", "x\ny");
    ExpectLocator("[\"\\\"\"]\"\\x41\\0\"", "\"", "A\0"s);
    ExpectLocator("[\"\"]\"\"", "", "");
}

TEST(SettingLocator, RejectsEverythingElse) {
    for (const char* text : {"asdasdasdas", "", "[", "[a", "a]b", " [a]b", "[\"a]b", "[\"a\"b]c", "[\"a\" ]c",
                             "[\"\\q\"]c", "[a]\"b", "[a]\"b\"c", "[a]\"b\" ", "[a]\"\\x4\"", "[\"a\""}) {
        EXPECT_EQ("Failed to parse '"s + text + "' as a SettingLocator", Error(text));
    }
}

TEST(SettingLocator, WritesQuotesOnlyWhereNeeded) {
    EXPECT_EQ("[section1]value1", (SettingLocator{"section1", "value1"}.ToString()));
    EXPECT_EQ("[ a [=\\#]] b;=", (SettingLocator{" a [=\\#", "] b;="}.ToString()));
    EXPECT_EQ("[\"a]b\"]name", (SettingLocator{"a]b", "name"}.ToString()));
    EXPECT_EQ("[\"\\\"\"]\"x\\ny\"", (SettingLocator{"\"", "x\ny"}.ToString()));
}

TEST(SettingLocator, EveryPairOfShortTextsComesBackFromOneLine) {
    const auto texts = test::ShortHostileTexts(2);
    for (const std::string& group : texts) {
        for (const std::string& name : texts) {
            const SettingLocator locator{group, name};
            const std::string text = locator.ToString();
            ASSERT_EQ(locator, SettingLocator::Parse(text)) << text;
            ASSERT_EQ(text.npos, text.find('\n'));
            ASSERT_NE('\r', text.back());
        }
    }
}

TEST(SettingLocator, RandomLocatorsComeBack) {
    test::HostileTexts random(1);
    for (int i = 0; i < 20000; ++i) {
        const SettingLocator locator{random.Text(), random.Text()};
        ASSERT_EQ(locator, SettingLocator::Parse(locator.ToString()));
    }
}

}  // namespace
}  // namespace zumra::settings::common
