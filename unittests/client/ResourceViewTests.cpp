#include "settings/client/ResourceView.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "zumra/osa/Exception.h"

namespace zumra::settings::client {
namespace {

constexpr int kMax = std::numeric_limits<int>::max();

core::IniFile Document(const std::string& text) {
    core::IniFile document;
    document.LoadFromString(text);
    return document;
}

class ResourceViewTests : public testing::Test {
protected:
    void Load(const std::string& text) { _document = Document(text); }
    ResourceView View(const std::string& resource = "R") const {
        return {_document, ResourceLayout(resource)};
    }

private:
    core::IniFile _document;
};

TEST_F(ResourceViewTests, GivesAResourceWithoutSettingsToEverybody) {
    EXPECT_TRUE(View().Allows("C"));
    EXPECT_EQ(View().Total(), 100);
    EXPECT_EQ(View().Used("C"), 0);
    EXPECT_EQ(View().Available("C"), 100);
    EXPECT_EQ(View().AvailableFraction("C"), 1.0);
}

TEST_F(ResourceViewTests, AllowsExactlyTheListedNames) {
    Load("[Resources/R/AllowedConsumers]\n00=C\n01=a/b\nother=D\n");
    EXPECT_TRUE(View().Allows("C"));
    EXPECT_TRUE(View().Allows("a/b"));
    EXPECT_TRUE(View().Allows("D"));
    EXPECT_FALSE(View().Allows("c"));
    EXPECT_FALSE(View().Allows("00"));
    EXPECT_FALSE(View().Allows(""));
    EXPECT_EQ(View().Available("c"), 0);
    EXPECT_EQ(View().AvailableFraction("c"), 0.0);
    EXPECT_EQ(View().Total(), 100);
}

TEST_F(ResourceViewTests, AllowsNobodyWhenTheListIsEmpty) {
    Load("[Resources/R/AllowedConsumers]\n");
    EXPECT_FALSE(View().Allows("C"));
    EXPECT_FALSE(View().Allows(""));
}

TEST_F(ResourceViewTests, TakesOffWhatOthersUseButNotTheirCapsNorTheOwnUse) {
    Load(
        "[Resources/R]\nTotalAvailable=1000\n[Resources/R/Consumers/A]\nCurrentlyUsed=30\nMaxAllowed=900\n"
        "[Resources/R/Consumers/B]\nCurrentlyUsed=40\n[Resources/R/Consumers/C]\nMaxAllowed=50\n");
    EXPECT_EQ(View().Available("A"), 900);
    EXPECT_EQ(View().Available("B"), 970);
    EXPECT_EQ(View().Available("C"), 50);
    EXPECT_EQ(View().Available("D"), 930);
    EXPECT_EQ(View().Used("A"), 30);
    EXPECT_EQ(View().AvailableFraction("A"), 0.9);
}

TEST_F(ResourceViewTests, IsNotRaisedByACapAboveWhatIsLeft) {
    Load("[Resources/R/Consumers/A]\nMaxAllowed=75\n[Resources/R/Consumers/B]\nCurrentlyUsed=40\n");
    EXPECT_EQ(View().Available("A"), 60);
}

TEST_F(ResourceViewTests, CountsOnlyItsOwnConsumers) {
    Load(
        "[Resources/R/Consumers]\nCurrentlyUsed=1\n[Resources/R/Consumers0]\nCurrentlyUsed=1\n"
        "[Resources/R/Consumer/A]\nCurrentlyUsed=1\n[Resources/R]\nCurrentlyUsed=1\n"
        "[Resources/R2/Consumers/A]\nCurrentlyUsed=1\n[Resources/R/S/Consumers/A]\nCurrentlyUsed=1\n"
        "[Resources/R/AllowedConsumers]\n00=C\nCurrentlyUsed=C\n[Resources/R/Consumers/a/"
        "b]\nCurrentlyUsed=10\n"
        "[Resources/R/Consumers/]\nCurrentlyUsed=20\n");
    EXPECT_EQ(View().Available("C"), 70);
    EXPECT_EQ(View().Used("a/b"), 10);
    EXPECT_EQ(View().Used(""), 20);
    EXPECT_EQ(View().Used("a"), 0);
    EXPECT_EQ(View("R/S").Available("C"), 99);
    EXPECT_EQ(View("R2").Available("C"), 99);
}

TEST_F(ResourceViewTests, NeverReportsLessThanNothing) {
    Load(
        "[Resources/R/Consumers/A]\nCurrentlyUsed=80\n[Resources/R/Consumers/B]\nCurrentlyUsed=80\n"
        "[Resources/R/Consumers/C]\nMaxAllowed=-5\n");
    EXPECT_EQ(View().Available("C"), 0);
    EXPECT_EQ(View().Available("D"), 0);
    EXPECT_EQ(View().Available("A"), 20);
}

TEST_F(ResourceViewTests, GrantsNothingOfATotalOfZeroOrBelow) {
    for (const char* total : {"0", "-1", "-99999999999999"}) {
        Load(std::string("[Resources/R]\nTotalAvailable=") + total + "\n");
        EXPECT_EQ(View().Total(), 0) << total;
        EXPECT_EQ(View().Available("C"), 0) << total;
        EXPECT_EQ(View().AvailableFraction("C"), 0.0) << total;
        EXPECT_TRUE(View().Fits("C", 0)) << total;
        EXPECT_FALSE(View().Fits("C", 1)) << total;
    }
}

TEST_F(ResourceViewTests, GrantsNothingForTextsThatAreNoNumbers) {
    for (const char* text : {"", "many", "5x", "0x5", "1.5", "5 5"}) {
        const std::string value = text;
        Load("[Resources/R]\nTotalAvailable=" + value + "\n");
        EXPECT_EQ(View().Total(), 0) << text;
        EXPECT_EQ(View().Available("C"), 0) << text;
        Load("[Resources/R/Consumers/C]\nMaxAllowed=" + value + "\n");
        EXPECT_EQ(View().Available("C"), 0) << text;
        EXPECT_EQ(View().Available("D"), 100) << text;
        Load("[Resources/R/Consumers/C]\nCurrentlyUsed=" + value + "\n");
        EXPECT_EQ(View().Used("C"), 100) << text;
        EXPECT_EQ(View().Available("D"), 0) << text;
        EXPECT_EQ(View().Available("C"), 100) << text;
    }
}

TEST_F(ResourceViewTests, DoesNotTakeANegativeUseForMoreToGive) {
    Load("[Resources/R/Consumers/A]\nCurrentlyUsed=-50\n");
    EXPECT_EQ(View().Used("A"), 0);
    EXPECT_EQ(View().Available("C"), 100);
}

TEST_F(ResourceViewTests, StaysInRangeWhenSumsAndTextsDoNot) {
    Load("[Resources/R]\nTotalAvailable=99999999999\n");
    EXPECT_EQ(View().Total(), kMax);
    EXPECT_EQ(View().Available("C"), kMax);
    Load(
        "[Resources/R]\nTotalAvailable=2147483647\n[Resources/R/Consumers/A]\nCurrentlyUsed=2147483647\n"
        "[Resources/R/Consumers/B]\nCurrentlyUsed=2147483647\n[Resources/R/Consumers/D]\n"
        "CurrentlyUsed=99999999999999999999\n");
    EXPECT_EQ(View().Available("C"), 0);
    EXPECT_EQ(View().Available("A"), 0);
    EXPECT_EQ(View().Used("D"), kMax);
}

TEST_F(ResourceViewTests, FitsFromNothingToAllThatIsAvailable) {
    Load("[Resources/R/Consumers/A]\nCurrentlyUsed=60\n");
    EXPECT_TRUE(View().Fits("C", 0));
    EXPECT_TRUE(View().Fits("C", 40));
    EXPECT_FALSE(View().Fits("C", 41));
    EXPECT_FALSE(View().Fits("C", -1));
    EXPECT_FALSE(View().Fits("C", std::numeric_limits<int>::min()));
}

TEST(ResourceLayoutTests, CoversEveryGroupOfTheResource) {
    const common::GroupNameMatcher groups = ResourceLayout("R").Groups();
    for (const char* name : {"Resources/R", "Resources/R/AllowedConsumers", "Resources/R/Consumers/",
                             "Resources/R/Consumers/C", "Resources/R/Consumers/a/b"}) {
        EXPECT_TRUE(groups.Matches(name)) << name;
    }
    for (const char* name : {"Resources/R2", "Resources/R/", "Resources/R/Consumers", "Resources/R/Other",
                             "Resources/R/AllowedConsumers/C", "Resources"}) {
        EXPECT_FALSE(groups.Matches(name)) << name;
    }
}

TEST(ResourceLayoutTests, TakesAStarInANameForAnOrdinaryCharacter) {
    const common::GroupNameMatcher groups = ResourceLayout("R*").Groups();
    EXPECT_TRUE(groups.Matches("Resources/R*"));
    EXPECT_TRUE(groups.Matches("Resources/R*/Consumers/C"));
    EXPECT_FALSE(groups.Matches("Resources/R2"));
}

TEST(ResourceLayoutTests, RefusesNamesOfGroupsThatAnotherResourceHas) {
    for (const char* name :
         {"A/Consumers/B", "A/Consumers", "/Consumers", "A/Consumers/", "A/B/Consumers/C/D"}) {
        try {
            ResourceLayout layout(name);
            ADD_FAILURE() << name;
        } catch (const osa::Exception& error) {
            EXPECT_EQ(error.what(),
                      "Invalid resource name '" + std::string(name) +
                          "': a part 'Consumers' after a '/' is kept for the consumers of a resource");
        }
    }
    for (const char* name : {"A/AllowedConsumers", "/AllowedConsumers", "A/B/AllowedConsumers"}) {
        try {
            ResourceLayout layout(name);
            ADD_FAILURE() << name;
        } catch (const osa::Exception& error) {
            EXPECT_EQ(error.what(),
                      "Invalid resource name '" + std::string(name) +
                          "': '/AllowedConsumers' at the end is kept for the list of who may use a resource");
        }
    }
    for (const char* name : {"", "A", "A/B", "Consumers", "Consumers/A", "A/Consumers2", "AllowedConsumers",
                             "A/AllowedConsumers/B", "A/NotAllowedConsumers"}) {
        EXPECT_NO_THROW(ResourceLayout layout(name)) << name;
    }
}

TEST(AmountOfFractionTests, RoundsUp) {
    EXPECT_EQ(AmountOfFraction(0.30111, 1000), 302);
    EXPECT_EQ(AmountOfFraction(0.2, 1000), 200);
    EXPECT_EQ(AmountOfFraction(0.56, 100000), 56000);
    EXPECT_EQ(AmountOfFraction(0.001, 1), 1);
    EXPECT_EQ(AmountOfFraction(0.1 + 0.2, 10), 3);
    EXPECT_EQ(AmountOfFraction(0.0, 1000), 0);
    EXPECT_EQ(AmountOfFraction(-0.0, 1000), 0);
    EXPECT_EQ(AmountOfFraction(1.0, kMax), kMax);
    EXPECT_EQ(AmountOfFraction(0.5, 0), 0);
}

TEST(AmountOfFractionTests, RefusesWhatIsNoFraction) {
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double fraction : {-0.4, -1e-300, 1.1, std::nextafter(1.0, 2.0), infinity, -infinity,
                                  std::numeric_limits<double>::quiet_NaN(), 1e300}) {
        EXPECT_EQ(AmountOfFraction(fraction, 1000), std::nullopt) << fraction;
    }
}

TEST(AmountOfFractionTests, IsExactForAllFractionsOfSmallWholeNumbers) {
    for (const std::int64_t total : {1, 3, 7, 100, 365, 997, 1000, 4096, 99991, 100000, 2147400000, kMax}) {
        for (std::int64_t n = 1; n <= 2000; ++n) {
            for (std::int64_t k = 0; k <= n; ++k) {
                const double fraction = static_cast<double>(k) / static_cast<double>(n);
                const std::int64_t expected = (k * total + n - 1) / n;
                if (AmountOfFraction(fraction, static_cast<int>(total)) != expected) {
                    FAIL() << k << "/" << n << " of " << total << " is not " << expected;
                }
            }
        }
    }
}

TEST(AmountOfFractionTests, GivesBackEveryAmountOfATotal) {
    for (const int total : {1, 99, 100, 365, 1000, 65537, 100000, 1000003}) {
        for (int amount = 0; amount <= total; ++amount) {
            ASSERT_EQ(AmountOfFraction(static_cast<double>(amount) / total, total), amount)
                << " of " << total;
        }
    }
    for (int amount = kMax; amount > kMax - 100000; amount -= 7) {
        ASSERT_EQ(AmountOfFraction(static_cast<double>(amount) / kMax, kMax), amount);
    }
}

}  // namespace
}  // namespace zumra::settings::client
