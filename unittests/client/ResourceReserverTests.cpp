#include "zumra/settings/ResourceReserver.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>

#include "client/EveryMode.h"
#include "client/FakeBackend.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings {
namespace {

class ResourceReserverTests : public EveryMode {
protected:
    void Load(const std::string& text) {
        core::IniFile document;
        document.LoadFromString(text);
        _client.MergeSettings(document);
    }
    core::IniFile All() const {
        core::IniFile all;
        _client.GetSettings("*", all);
        return all;
    }

    ZumraSettingsClient _client{GetParam()};
    ResourceReserver _mine{&_client, "DSP", "Mine"};
    ResourceReserver _other{&_client, "DSP", "Other"};
};

ZUMRA_INSTANTIATE_IN_EVERY_MODE(ResourceReserverTests);

TEST_P(ResourceReserverTests, AnswersFromTheSettingsAsTheyAre) {
    EXPECT_TRUE(_mine.IsAuthorized());
    EXPECT_EQ(_mine.GetAvailableResources(), 100);
    Load(
        "[Resources/DSP]\nTotalAvailable=200\n[Resources/DSP/Consumers/Other]\nCurrentlyUsed=50\n"
        "[Resources/DSP/Consumers/Mine]\nCurrentlyUsed=10\nMaxAllowed=120\n");
    EXPECT_EQ(_mine.GetTotalResources(), 200);
    EXPECT_EQ(_mine.GetAvailableResources(), 120);
    EXPECT_EQ(_mine.GetAvailableResourcesPercent(), 0.6);
    EXPECT_EQ(_mine.GetCurrentUsage(), 10);
    EXPECT_EQ(_other.GetAvailableResources(), 190);
    Load("[Resources/DSP/AllowedConsumers]\n00=Other\n");
    EXPECT_FALSE(_mine.IsAuthorized());
    EXPECT_TRUE(_other.IsAuthorized());
    EXPECT_EQ(_mine.GetAvailableResources(), 0);
    EXPECT_EQ(_mine.GetAvailableResourcesPercent(), 0.0);
    EXPECT_EQ(_mine.GetCurrentUsage(), 10);
    _client.EraseGroups("Resources/*");
    EXPECT_EQ(_mine.GetAvailableResources(), 100);
}

TEST_P(ResourceReserverTests, SetsExactlyWhatIsAvailableAndNoMore) {
    EXPECT_TRUE(_other.TrySetUsage(40));
    EXPECT_FALSE(_mine.TrySetUsage(61));
    EXPECT_EQ(_mine.GetCurrentUsage(), 0);
    EXPECT_TRUE(_mine.TrySetUsage(60));
    EXPECT_EQ(_mine.GetCurrentUsage(), 60);
    EXPECT_FALSE(_other.TrySetUsage(41));
    EXPECT_EQ(_other.GetCurrentUsage(), 40);
    EXPECT_TRUE(_mine.TrySetUsage(0));
    EXPECT_TRUE(_other.TrySetUsage(100));
}

TEST_P(ResourceReserverTests, ChangesNothingWhenRefused) {
    Load(
        "[Resources/DSP/Consumers/Other]\nCurrentlyUsed=60\n[Resources/DSP/Consumers/"
        "Mine]\nCurrentlyUsed=30\n");
    const core::IniFile before = All();
    const double infinity = std::numeric_limits<double>::infinity();
    for (const int amount : {-1, 41, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        EXPECT_FALSE(_mine.TrySetUsage(amount)) << amount;
    }
    for (const double fraction :
         {-0.4, 0.41, 0.4001, 1.1, infinity, -infinity, std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_FALSE(_mine.TrySetUsagePercent(fraction)) << fraction;
    }
    EXPECT_EQ(All(), before);
}

TEST_P(ResourceReserverTests, WritesNothingButTheUse) {
    Load(
        "[Resources/DSP/Consumers/Mine]\nCurrentlyUsed=30\nMaxAllowed=50\nNote=keep\n[Resources/CPU]\nx=1\n");
    core::IniFile expected = All();
    expected["Resources/DSP/Consumers/Mine"]["CurrentlyUsed"] = "45";
    EXPECT_TRUE(_mine.TrySetUsage(45));
    EXPECT_EQ(All(), expected);
    EXPECT_TRUE(_mine.TrySetUsage(45)) << "the same again";
    EXPECT_EQ(All(), expected);
}

TEST_P(ResourceReserverTests, LetsGoWhoeverHasMoreThanIsAvailable) {
    Load(
        "[Resources/DSP/Consumers/Mine]\nCurrentlyUsed=30\n[Resources/DSP/Consumers/"
        "Other]\nCurrentlyUsed=90\n"
        "[Resources/DSP/AllowedConsumers]\n00=Other\n");
    EXPECT_FALSE(_mine.TrySetUsage(1));
    EXPECT_FALSE(_mine.TrySetUsage(30));
    EXPECT_TRUE(_mine.TrySetUsage(0));
    EXPECT_EQ(_mine.GetCurrentUsage(), 0);
    EXPECT_FALSE(_other.TrySetUsage(101));
    EXPECT_TRUE(_other.TrySetUsage(100));
}

TEST_P(ResourceReserverTests, MendsAnUnreadableUseOfItsOwn) {
    Load("[Resources/DSP/Consumers/Mine]\nCurrentlyUsed=lots\n");
    EXPECT_EQ(_mine.GetCurrentUsage(), 100);
    EXPECT_FALSE(_other.TrySetUsage(1));
    EXPECT_TRUE(_mine.TrySetUsage(10));
    EXPECT_TRUE(_other.TrySetUsage(90));
}

TEST_P(ResourceReserverTests, TakesFractionsOfTheTotalNotOfWhatIsLeft) {
    Load("[Resources/DSP]\nTotalAvailable=1000\n[Resources/DSP/Consumers/Other]\nCurrentlyUsed=600\n");
    EXPECT_TRUE(_mine.TrySetUsagePercent(0.30111));
    EXPECT_EQ(_mine.GetCurrentUsage(), 302);
    EXPECT_TRUE(_mine.TrySetUsagePercent(_mine.GetAvailableResourcesPercent()));
    EXPECT_EQ(_mine.GetCurrentUsage(), 400);
    EXPECT_TRUE(_mine.TrySetUsagePercent(0));
    EXPECT_EQ(_mine.GetCurrentUsage(), 0);
}

TEST_P(ResourceReserverTests, KeepsResourcesAndConsumersWithSimilarNamesApart) {
    ResourceReserver inner(&_client, "DSP/Inner", "Mine");
    ResourceReserver star(&_client, "DSP*", "Mine");
    ResourceReserver slash(&_client, "DSP", "Mine/Too");
    ResourceReserver hostile(&_client, "a]b\n.", std::string("\0\"=\r", 4));
    EXPECT_TRUE(_mine.TrySetUsage(10));
    EXPECT_TRUE(inner.TrySetUsage(100));
    EXPECT_TRUE(star.TrySetUsage(100));
    EXPECT_TRUE(hostile.TrySetUsage(100));
    EXPECT_FALSE(slash.TrySetUsage(91));
    EXPECT_TRUE(slash.TrySetUsage(90));
    EXPECT_EQ(_mine.GetAvailableResources(), 10);
    EXPECT_EQ(hostile.GetCurrentUsage(), 100);
}

TEST_P(ResourceReserverTests, RefusesNamesThatLieAmongOtherConsumers) {
    EXPECT_THROW(ResourceReserver(&_client, "DSP/Consumers/Other", "Mine"), osa::Exception);
}

TEST(ResourceReserverFaultTests, NeedsAClient) {
    try {
        ResourceReserver reserver(nullptr, "DSP", "Mine");
        FAIL() << "nothing thrown";
    } catch (const osa::Exception& error) {
        EXPECT_STREQ(error.what(), "ResourceReserver: no client");
    }
}

TEST(ResourceReserverFaultTests, SaysWhatItGaveUp) {
    auto* backend = new client::FakeBackend;  // owned by the client
    ZumraSettingsClient client{std::unique_ptr<client::IBackend>(backend)};
    ResourceReserver mine(&client, "DSP", "Mine");
    int overtaken = 0;
    backend->onCall = [&](const std::string& operation) {
        if (operation == "TestExactlyAndMerge") {
            backend->Merge(OneSetting("Resources/DSP/Consumers/Other", "CurrentlyUsed",
                                      std::to_string(++overtaken % 7)));
        }
    };
    const std::string text =
        "Failed to set what 'Mine' uses of 'DSP': the settings changed during each of 100 attempts";
    for (const bool percent : {false, true}) {
        try {
            percent ? mine.TrySetUsagePercent(0.1) : mine.TrySetUsage(10);
            ADD_FAILURE() << "nothing thrown";
        } catch (const osa::Exception& error) {
            EXPECT_EQ(error.what(), text);
        }
    }
    EXPECT_EQ(overtaken, 200);
    EXPECT_FALSE(backend->Store().HasGroup("Resources/DSP/Consumers/Mine"));
}

TEST(ResourceReserverFaultTests, DecidesOnTheAmountsAsOvertaken) {
    auto* backend = new client::FakeBackend;  // owned by the client
    ZumraSettingsClient client{std::unique_ptr<client::IBackend>(backend)};
    ResourceReserver mine(&client, "DSP", "Mine");
    bool overtaken = false;
    backend->onCall = [&](const std::string& operation) {
        if (operation == "TestExactlyAndMerge" && !overtaken) {
            overtaken = true;
            backend->Merge(OneSetting("Resources/DSP/Consumers/Newcomer", "CurrentlyUsed", "95"));
        }
    };
    EXPECT_FALSE(mine.TrySetUsage(10));
    EXPECT_TRUE(overtaken);
    EXPECT_FALSE(backend->Store().HasGroup("Resources/DSP/Consumers/Mine"));
    overtaken = false;
    EXPECT_TRUE(mine.TrySetUsage(5));
}

}  // namespace
}  // namespace zumra::settings
