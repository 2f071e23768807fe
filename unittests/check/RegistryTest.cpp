#include "check/Registry.h"

#include <gtest/gtest.h>

namespace zumra::check {
namespace {

const char first[] = "same name";
const char second[] = "same name";

TEST(Registry, FindsAChecksDescriptionByThePointerOfItsName) {
    Registry registry;
    EXPECT_TRUE(registry.Register({"Suite", "one", first, 1}));
    EXPECT_TRUE(registry.Register({"Suite", "two", second, 2}));
    ASSERT_NE(registry.Find(second), nullptr);
    EXPECT_STREQ(registry.Find(second)->testCase, "two");
    EXPECT_EQ(registry.Find(first)->timeoutSeconds, 1);
    EXPECT_EQ(registry.Find("same name"), nullptr);
    EXPECT_EQ(registry.Find(nullptr), nullptr);
}

TEST(Registry, ShowsChecksWithoutAddingThem) {
    Registry registry;
    registry.StartLooking();
    EXPECT_FALSE(registry.Register({"Suite", "one", first, 0}));
    EXPECT_FALSE(registry.Register({"Suite", "two", second, 0}));
    const std::vector<CheckDescription> shown = registry.Shown();
    ASSERT_EQ(shown.size(), 2U);
    EXPECT_STREQ(shown[1].testCase, "two");
    EXPECT_EQ(registry.Find(first), nullptr);
    EXPECT_TRUE(registry.Register({"Suite", "one", first, 0}));
}

TEST(Registry, KeepsWhatIsAddedWhileLooking) {
    Registry registry;
    EXPECT_TRUE(registry.Register({"Suite", "one", first, 0}));
    registry.StartLooking();
    EXPECT_FALSE(registry.Register({"Suite", "two", second, 0}));
    EXPECT_EQ(registry.Shown().size(), 1U);
    EXPECT_NE(registry.Find(first), nullptr);
}

TEST(Registry, TakesOnlyWhatIsSelected) {
    Registry registry;
    registry.Select({{}, {"Suite/one/*"}, {}});
    EXPECT_TRUE(registry.Register({"Suite", "one", first, 0}));
    EXPECT_FALSE(registry.Register({"Suite", "two", second, 0}));
    EXPECT_EQ(registry.Find(second), nullptr);
    registry.StartLooking();
    EXPECT_FALSE(registry.Register({"Suite", "one", first, 0}));
    EXPECT_FALSE(registry.Register({"Suite", "two", second, 0}));
    EXPECT_EQ(registry.Shown().size(), 1U);
}

}  // namespace
}  // namespace zumra::check
