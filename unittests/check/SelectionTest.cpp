#include "check/Selection.h"

#include <gtest/gtest.h>

namespace zumra::check {
namespace {

const CheckDescription kCheck = {"SomeTests", "all", "works__kLocal", 0};

bool Selects(const std::vector<std::string>& filters, const std::vector<std::string>& excludes) {
    return Selection{{}, filters, excludes}.Selects(kCheck);
}

TEST(Selection, SelectsEverythingWithoutPatterns) {
    EXPECT_TRUE(Selects({}, {}));
}

TEST(Selection, MatchesTheWholeName) {
    EXPECT_TRUE(Selects({"SomeTests/all/works__kLocal"}, {}));
    EXPECT_FALSE(Selects({"works__kLocal"}, {}));
    EXPECT_FALSE(Selects({"SomeTests"}, {}));
    EXPECT_FALSE(Selects({"sometests/*"}, {}));
    EXPECT_FALSE(Selects({""}, {}));
}

TEST(Selection, LetsWildcardsStandForASlashToo) {
    EXPECT_TRUE(Selects({"*"}, {}));
    EXPECT_TRUE(Selects({"*kLocal"}, {}));
    EXPECT_TRUE(Selects({"Some*works*"}, {}));
    EXPECT_TRUE(Selects({"SomeTests?all?works__[j-l]Local"}, {}));
    EXPECT_FALSE(Selects({"*kLocal?"}, {}));
}

TEST(Selection, NeedsOneOfItsFiltersAndNoneOfItsExcludes) {
    EXPECT_TRUE(Selects({"Other*", "Some*"}, {}));
    EXPECT_FALSE(Selects({"Some*"}, {"Other*", "*works*"}));
    EXPECT_FALSE(Selects({}, {"*works*"}));
    EXPECT_TRUE(Selects({}, {"Other*"}));
}

TEST(Selection, TakesAnUnclosedBracketAsItIs) {
    EXPECT_FALSE(Selects({"[SomeTests/*"}, {}));
}

}  // namespace
}  // namespace zumra::check
