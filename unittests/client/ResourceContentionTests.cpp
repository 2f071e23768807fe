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
#include "zumra/osa/Mutex.h"
#include "zumra/settings/IChangeCallback.h"
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

/// Looks at every change of the resources "R" and "S", in order, and keeps what it saw wrong.
class Invariant final : public IChangeCallback {
public:
    explicit Invariant(int total) : _total(total) {}

    void SettingsChanged(const std::set<std::string>& changedGroups, const core::IniFile& data) override {
        osa::MutexLock lock(_mutex);
        for (const std::string& group : changedGroups) {
            _seen.EraseGroup(group);
        }
        _seen.MergeSettings(data);
        Check("Resources/R/Consumers/");
        Check("Resources/S/Consumers/");
        ++_changes;
        _changed.NotifyAll();
    }

    /// Returns when the last change of this state was looked at.
    void WaitUntilSeen(const core::IniFile& state) {
        const auto deadline = std::chrono::steady_clock::now() + kLongEnough;
        osa::MutexLock lock(_mutex);
        while (_seen != state && _changed.WaitUntil(_mutex, deadline)) {
        }
        EXPECT_EQ(_seen, state);
    }
    std::string Wrong() const {
        osa::MutexLock lock(_mutex);
        return _wrong;
    }
    int Changes() const {
        osa::MutexLock lock(_mutex);
        return _changes;
    }

private:
    void Check(const std::string& prefix) ZUMRA_REQUIRES(_mutex) {
        int used = 0;
        for (const auto& [name, values] : _seen) {
            if (name.compare(0, prefix.size(), prefix) == 0) {
                used += std::stoi(_seen.GetValue(name, "CurrentlyUsed"));
            }
        }
        if (used > _total) {
            _wrong =
                prefix + " uses " + std::to_string(used) + " after " + std::to_string(_changes) + " changes";
        }
    }

    const int _total;
    mutable osa::Mutex _mutex;
    osa::Condition _changed;
    core::IniFile _seen ZUMRA_GUARDED_BY(_mutex);
    std::string _wrong ZUMRA_GUARDED_BY(_mutex);
    int _changes ZUMRA_GUARDED_BY(_mutex) = 0;
};

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
    Invariant _invariant{kTotal};
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
