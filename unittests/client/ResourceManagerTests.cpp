#include "zumra/settings/ResourceManager.h"

#include <gtest/gtest.h>

#include <limits>
#include <list>
#include <memory>
#include <string>

#include "client/EveryMode.h"
#include "client/FakeBackend.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings {
namespace {

using Usages = std::list<ResourceManager::ResourceUsage>;

ResourceManager::ResourceUsage Amount(const std::string& resource, int amount) {
    return {resource, false, amount, 0};
}

ResourceManager::ResourceUsage Fraction(const std::string& resource, double fraction) {
    return {resource, true, 0, fraction};
}

class ResourceManagerTests : public EveryMode {
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
    ResourceManager _manager{&_client};
};

ZUMRA_INSTANTIATE_IN_EVERY_MODE(ResourceManagerTests);

TEST_P(ResourceManagerTests, AnswersForAnyConsumerAndResource) {
    Load(
        "[Resources/DSP]\nTotalAvailable=1000\n[Resources/DSP/Consumers/A]\nCurrentlyUsed=300\n"
        "[Resources/DSP/Consumers/B]\nCurrentlyUsed=600\nMaxAllowed=650\n[Resources/CPU/"
        "AllowedConsumers]\n00=A\n");
    EXPECT_EQ(_manager.GetAvailable("A", "DSP"), 400);
    EXPECT_EQ(_manager.GetAvailable("B", "DSP"), 650);
    EXPECT_EQ(_manager.GetAvailable("C", "DSP"), 100);
    EXPECT_EQ(_manager.GetUsed("A", "DSP"), 300);
    EXPECT_EQ(_manager.GetUsed("C", "DSP"), 0);
    EXPECT_EQ(_manager.GetAvailable("A", "CPU"), 100);
    EXPECT_EQ(_manager.GetAvailable("B", "CPU"), 0);
    EXPECT_EQ(_manager.GetAvailable("A", "nothing known of it"), 100);
    EXPECT_THROW(static_cast<void>(_manager.GetUsed("A", "DSP/Consumers/B")), osa::Exception);
}

TEST_P(ResourceManagerTests, ReservesAllThatIsListed) {
    Load(
        "[Resources/CPU]\nTotalAvailable=1000\n[Resources/CPU/Consumers/A]\nMaxAllowed=500\n"
        "[Resources/Ipipe/Consumers/A]\nCurrentlyUsed=7\n");
    EXPECT_TRUE(_manager.ReserveForConsumer("A", {Amount("DSP", 15), Fraction("CPU", 0.30111)}));
    EXPECT_EQ(_manager.GetUsed("A", "DSP"), 15);
    EXPECT_EQ(_manager.GetUsed("A", "CPU"), 302);
    EXPECT_EQ(_manager.GetUsed("A", "Ipipe"), 7) << "not listed";
    EXPECT_TRUE(_manager.ReserveForConsumer("A", {Amount("DSP", 0), Amount("CPU", 500)}));
    EXPECT_EQ(_manager.GetUsed("A", "DSP"), 0);
    EXPECT_EQ(_client.GetValue("[Resources/CPU/Consumers/A]MaxAllowed"), "500");
}

TEST_P(ResourceManagerTests, ReservesNothingWhenOneDoesNotFit) {
    Load(
        "[Resources/CPU/Consumers/B]\nCurrentlyUsed=90\n[Resources/DSP/Consumers/A]\nCurrentlyUsed=1\n"
        "[Resources/Closed/AllowedConsumers]\n00=B\n[Resources/None]\nTotalAvailable=0\n");
    const core::IniFile before = All();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const Usages& usages :
         {Usages{Amount("DSP", 15), Amount("CPU", 15)}, Usages{Amount("CPU", 15), Amount("DSP", 15)},
          Usages{Amount("DSP", 15), Amount("Ipipe", -1)}, Usages{Amount("DSP", 15), Fraction("Ipipe", 1.1)},
          Usages{Amount("DSP", 15), Fraction("Ipipe", -0.1)},
          Usages{Amount("DSP", 15), Fraction("Ipipe", nan)}, Usages{Amount("DSP", 15), Amount("Closed", 1)},
          Usages{Amount("DSP", 15), Amount("None", 1)}, Usages{Amount("DSP", 15), Fraction("CPU", 0.11)}}) {
        EXPECT_FALSE(_manager.ReserveForConsumer("A", usages));
        EXPECT_EQ(All(), before);
    }
}

TEST_P(ResourceManagerTests, RefusesAResourceThatIsListedTwice) {
    EXPECT_FALSE(_manager.ReserveForConsumer("A", {Amount("DSP", 1), Amount("DSP", 1)}));
    EXPECT_FALSE(
        _manager.ReserveForConsumer("A", {Amount("DSP", 60), Amount("CPU", 1), Fraction("DSP", 0.6)}));
    EXPECT_TRUE(All().empty());
}

TEST_P(ResourceManagerTests, TakesAnEmptyListForDone) {
    EXPECT_TRUE(_manager.ReserveForConsumer("A", {}));
    EXPECT_TRUE(All().empty());
}

TEST_P(ResourceManagerTests, DecidesOnSettingsThatChangedAfterItLooked) {
    Load("[Resources/DSP/Consumers/B]\nCurrentlyUsed=30\n");
    EXPECT_EQ(_manager.GetAvailable("A", "DSP"), 70);
    Load("[Resources/DSP/Consumers/B]\nCurrentlyUsed=40\n");
    EXPECT_TRUE(_manager.ReserveForConsumer("A", {Amount("DSP", 15)}));
    EXPECT_EQ(_manager.GetAvailable("A", "DSP"), 60);
    Load("[Resources/DSP/Consumers/B]\nCurrentlyUsed=90\n");
    EXPECT_FALSE(_manager.ReserveForConsumer("A", {Amount("DSP", 15)}));
    EXPECT_EQ(_manager.GetUsed("A", "DSP"), 15);
}

class ResourceManagerFaultTests : public testing::Test {
protected:
    client::FakeBackend* _backend = new client::FakeBackend;  // owned by the client
    ZumraSettingsClient _client{std::unique_ptr<client::IBackend>(_backend)};
    ResourceManager _manager{&_client};
};

TEST_F(ResourceManagerFaultTests, NeedsAClient) {
    try {
        ResourceManager manager(nullptr);
        FAIL() << "nothing thrown";
    } catch (const osa::Exception& error) {
        EXPECT_STREQ(error.what(), "ResourceManager: no client");
    }
}

TEST_F(ResourceManagerFaultTests, NeitherOverwritesNorOvercommitsWhenOvertaken) {
    bool overtaken = false;
    _backend->onCall = [&](const std::string& operation) {
        if (operation == "TestExactlyAndMerge" && !overtaken) {
            overtaken = true;
            _backend->Merge(OneSetting("Resources/CPU/Consumers/B", "CurrentlyUsed", "60"));
        }
    };
    EXPECT_FALSE(_manager.ReserveForConsumer("A", {Amount("DSP", 50), Amount("CPU", 50)}));
    EXPECT_EQ(_backend->Store(), OneSetting("Resources/CPU/Consumers/B", "CurrentlyUsed", "60"));
    _backend->Erase(common::GroupNameMatcher("*"));
    overtaken = false;
    EXPECT_TRUE(_manager.ReserveForConsumer("A", {Amount("DSP", 50), Amount("CPU", 40)}));
    EXPECT_TRUE(overtaken);
    EXPECT_EQ(_manager.GetUsed("B", "CPU"), 60);
    EXPECT_EQ(_manager.GetUsed("A", "CPU"), 40);
}

TEST_F(ResourceManagerFaultTests, SaysWhatItGaveUp) {
    int overtaken = 0;
    _backend->onCall = [&](const std::string& operation) {
        if (operation == "TestExactlyAndMerge") {
            _backend->Merge(OneSetting("Resources/DSP/Consumers/B", "x", std::to_string(++overtaken)));
        }
    };
    try {
        _manager.ReserveForConsumer("A", {Amount("DSP", 1)});
        FAIL() << "nothing thrown";
    } catch (const osa::Exception& error) {
        EXPECT_STREQ(error.what(),
                     "Failed to reserve resources for 'A': the settings changed during each of 100 attempts");
    }
    EXPECT_EQ(overtaken, 100);
}

}  // namespace
}  // namespace zumra::settings
