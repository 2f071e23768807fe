#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "client/EveryMode.h"
#include "settings/client/InProcessServer.h"
#include "support/ResourceInvariant.h"
#include "zumra/settings/ResourceManager.h"
#include "zumra/settings/ResourceReserver.h"

namespace zumra::settings {
namespace {

constexpr int kThreads = 6;
#ifdef __SANITIZE_THREAD__
constexpr int kRounds = 40;
#else
constexpr int kRounds = 150;
#endif

using Parameters = std::tuple<ZumraSettingsClient::OperationMode, bool>;

/// Many threads, on one client or each on a connection of its own.
class ResourceContentionTests : public testing::TestWithParam<Parameters> {
protected:
    ResourceContentionTests() {
        for (int i = 0; i < (std::get<1>(GetParam()) ? kThreads : 1); ++i) {
            _clients.push_back(
                std::make_unique<ZumraSettingsClient>(_server.Connect(std::get<0>(GetParam()))));
        }
        _watching.Subscribe(&_invariant, "Resources/*");
    }
    ~ResourceContentionTests() override { _watching.UnSubscribe(&_invariant); }

    ZumraSettingsClient* Client(int thread) {
        return _clients[static_cast<std::size_t>(thread) % _clients.size()].get();
    }

    template <class Body>
    void InThreads(Body body) {
        std::vector<std::thread> threads;
        for (int thread = 0; thread < kThreads; ++thread) {
            threads.emplace_back([thread, body] { body(thread); });
        }
        for (auto& thread : threads) {
            thread.join();
        }
    }

    /// Everything that was stored was looked at and found right.
    core::IniFile CheckInvariant() {
        core::IniFile stored;
        _watching.GetSettings("*", stored);
        _invariant.WaitUntilSeen(stored);
        EXPECT_EQ(_invariant.Wrong(), "");
        return stored;
    }

    static constexpr int kTotal = 100;
    client::InProcessServer _server;
    test::ResourceInvariant _invariant{kTotal};
    ZumraSettingsClient _watching{_server.Connect(ZumraSettingsClient::kLocal)};
    std::vector<std::unique_ptr<ZumraSettingsClient>> _clients;
};

std::string ParametersName(const testing::TestParamInfo<Parameters>& info) {
    return ModeName({std::get<0>(info.param), 0}) +
           (std::get<1>(info.param) ? "_ConnectionEach" : "_OneClient");
}

INSTANTIATE_TEST_SUITE_P(Mode, ResourceContentionTests,
                         testing::Combine(testing::Values(ZumraSettingsClient::kLocal,
                                                          ZumraSettingsClient::kLocalSingleThreadedPipe,
                                                          ZumraSettingsClient::kLocalMultiThreadedPipe),
                                          testing::Bool()),
                         ParametersName);

TEST_P(ResourceContentionTests, UsesNeverExceedTheTotalAndNoneIsLost) {
    std::atomic<int> accepted{0};
    InThreads([&](int thread) {
        const std::string name = "consumer" + std::to_string(thread);
        ResourceReserver reserver(Client(thread), "R", name);
        std::mt19937 random(static_cast<unsigned>(thread));
        int mine = 0;
        for (int round = 0; round < kRounds; ++round) {
            const int amount = static_cast<int>(random() % 45);
            const bool success =
                round % 2 == 0 ? reserver.TrySetUsage(amount) : reserver.TrySetUsagePercent(amount / 100.0);
            mine = success ? amount : mine;
            accepted += success ? 1 : 0;
            ASSERT_EQ(reserver.GetCurrentUsage(), mine) << name << " in round " << round;
        }
        ASSERT_TRUE(reserver.TrySetUsage(0));
    });
    for (const auto& [group, values] : CheckInvariant()) {
        EXPECT_EQ(values.at("CurrentlyUsed"), "0") << group;
    }
    // Lowering is always accepted, and an accepted use of another amount is a change of its own.
    EXPECT_GE(accepted, kThreads);
    EXPECT_GE(_invariant.Changes(), kThreads);
}

TEST_P(ResourceContentionTests, WhoeverStaysWithinAFairShareAlwaysSucceeds) {
    InThreads([&](int thread) {
        ResourceReserver reserver(Client(thread), "R", "consumer" + std::to_string(thread));
        for (int round = 1; round <= kRounds; ++round) {
            ASSERT_TRUE(reserver.TrySetUsage(round % (kTotal / kThreads + 1)));
        }
    });
    const core::IniFile stored = CheckInvariant();
    for (const auto& [group, values] : stored) {
        EXPECT_EQ(values.at("CurrentlyUsed"), std::to_string(kRounds % (kTotal / kThreads + 1))) << group;
    }
    EXPECT_EQ(stored.size(), static_cast<std::size_t>(kThreads));
    EXPECT_EQ(_invariant.Changes(), kThreads * kRounds) << "one change an accepted use";
}

TEST_P(ResourceContentionTests, ConsumersThatNobodyKnewCountToo) {
    std::atomic<int> accepted{0};
    InThreads([&](int thread) {
        for (int round = 0; round < kRounds / 5; ++round) {
            const std::string name = std::to_string(thread) + "/" + std::to_string(round);
            ResourceReserver reserver(Client(thread), "R", name);
            if (reserver.TrySetUsage(10)) {
                ++accepted;
            }
        }
    });
    EXPECT_EQ(accepted, kTotal / 10) << "all of the resource is taken, and no more";
    EXPECT_EQ(CheckInvariant().size(), static_cast<std::size_t>(kTotal / 10));
}

TEST_P(ResourceContentionTests, SeveralResourcesAreTakenTogetherOrNotAtAll) {
    InThreads([&](int thread) {
        const std::string name = "consumer" + std::to_string(thread);
        ResourceManager manager(Client(thread));
        std::mt19937 random(static_cast<unsigned>(thread));
        int mine = 0;
        for (int round = 0; round < kRounds; ++round) {
            const int amount = static_cast<int>(random() % 45);
            if (manager.ReserveForConsumer(name, {{"R", false, amount, 0}, {"S", true, 0, amount / 100.0}})) {
                mine = amount;
            }
            ASSERT_EQ(manager.GetUsed(name, "R"), mine);
            ASSERT_EQ(manager.GetUsed(name, "S"), mine);
        }
    });
    CheckInvariant();
}

}  // namespace
}  // namespace zumra::settings
