#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <random>
#include <thread>
#include <vector>

#include "client/Callbacks.h"
#include "client/Exchanges.h"

namespace zumra::settings {
namespace {

using Client = ZumraSettingsClient;
using test::Document;
using test::Recorder;

constexpr unsigned kThreads = 8;
constexpr unsigned kSteps = 150;

/// Eight threads use one client at once. What each may read is known: its own group is as it left it; the
/// shared counter never goes back and loses no increment; a pair that is always written together is equal.
class ConcurrencyTests : public testing::TestWithParam<Client::OperationMode> {
protected:
    /// What one thread does; counts what contradicts the model.
    class Worker {
    public:
        Worker(Client& client, unsigned number, std::atomic<unsigned>& increments)
            : _client(client),
              _group("own/" + std::to_string(number)),
              _random(number),
              _increments(increments) {}

        unsigned Run() {
            for (unsigned i = 0; i < kSteps; ++i) {
                Step();
            }
            return _faults;
        }

    private:
        void Step() {
            switch (std::uniform_int_distribution<int>(0, 5)(_random)) {
                case 0:
                    Write();
                    break;
                case 1:
                    Erase();
                    break;
                case 2:
                    Increment();
                    break;
                case 3:
                    WritePair();
                    break;
                case 4:
                    ReadPair();
                    break;
                default:
                    SubscribeOwn();
            }
            Expect(_client.GetValue("[" + _group + "]x") == _own);
        }

        void Expect(bool holds) { _faults += holds ? 0 : 1; }

        void Write() {
            _own = std::to_string(_random());
            _client.SetValue("[" + _group + "]x", _own);
        }

        void Erase() {
            _own.clear();
            _client.EraseGroups(_group + "*");
        }

        void Increment() {
            const std::string before = _client.GetValue("[shared]count");
            Expect(std::stoul(before) >= _count);
            _count = std::stoul(before);
            core::IniFile expected;
            expected["shared"]["count"] = before;
            core::IniFile next;
            next["shared"]["count"] = std::to_string(_count + 1);
            if (_client.TestAndMerge(expected, next)) {
                ++_increments;
                ++_count;
            }
        }

        void WritePair() {
            const std::string value = std::to_string(_random());
            core::IniFile pair;
            pair["pair/1"]["x"] = value;
            pair["pair/2"]["x"] = value;
            _client.OverwriteSettings("pair/*", pair);
        }

        void ReadPair() {
            core::IniFile pair;
            _client.GetSettings("pair/*", pair);
            Expect(pair.GetValue("pair/1", "x") == pair.GetValue("pair/2", "x"));
        }

        void SubscribeOwn() {
            Recorder callback;
            _client.Subscribe(&callback, _group);
            Write();
            callback.WaitForCalls(1);
            _client.UnSubscribe(&callback);
            Expect(callback.Count() == 1 && callback.Calls()[0].data.GetValue(_group, "x") == _own);
        }

        Client& _client;
        const std::string _group;
        std::mt19937 _random;
        std::atomic<unsigned>& _increments;
        std::string _own;
        unsigned long _count = 0;
        unsigned _faults = 0;
    };

    Client _client{GetParam(), Document("[shared]\ncount=0\n")};
};

INSTANTIATE_TEST_SUITE_P(All, ConcurrencyTests, testing::ValuesIn(test::kModes),
                         [](const auto& mode) { return test::ModeName(mode.param); });

/// The counts that a callback is told must be 1, 2, 3 ...
unsigned CountFaults(const std::vector<Recorder::Call>& calls) {
    unsigned faults = 0;
    for (std::size_t i = 0; i < calls.size(); ++i) {
        faults += calls[i].data.GetValue("shared", "count") == std::to_string(i + 1) ? 0 : 1;
    }
    return faults;
}

TEST_P(ConcurrencyTests, EightThreadsReadOnlyWhatTheModelAllows) {
    Recorder shared;
    Recorder pairs;
    _client.Subscribe(&shared, "shared");
    _client.Subscribe(&pairs, "pair/*");
    test::RecordingFollower follower;
    _client.Backend().Follow(&follower, test::Groups({"shared"}));
    std::atomic<unsigned> faults{0};
    std::atomic<unsigned> increments{0};
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] { faults += Worker(_client, i, increments).Run(); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    test::Drain(_client);
    EXPECT_EQ(faults, 0U);
    EXPECT_GT(increments, kThreads);
    EXPECT_EQ(_client.GetValue("[shared]count"), std::to_string(increments));
    EXPECT_EQ(shared.Count(), increments);
    EXPECT_EQ(CountFaults(shared.Calls()), 0U);
    for (const auto& call : pairs.Calls()) {
        EXPECT_EQ(call.data.GetValue("pair/1", "x"), call.data.GetValue("pair/2", "x"));
    }
    std::string followed = "snapshot shared{count=0;}";
    for (unsigned i = 1; i <= increments; ++i) {
        followed += "change shared{count=" + std::to_string(i) + ";}";
    }
    EXPECT_EQ(follower.Text(), followed);
}

/// Remembers the highest number that each thread wrote.
class OwnFollower final : public client::IFollower {
public:
    void OnSnapshot(const common::GroupMap&, const common::GroupNameMatcher&) override {}
    void OnChange(const std::shared_ptr<const common::Change>& change, const common::CoveredNames&) override {
        for (const auto& [name, values] : *change->groups.at("shared")) {
            _last.at(std::stoul(name)).store(static_cast<unsigned>(std::stoul(values)));
        }
    }
    [[nodiscard]] unsigned Last(unsigned thread) const { return _last.at(thread); }

private:
    std::array<std::atomic<unsigned>, kThreads> _last{};
};

TEST_P(ConcurrencyTests, OwnChangesAreKnownToFollowersWhenTheCallReturns) {
    OwnFollower follower;
    _client.EraseGroups("shared");
    _client.Backend().Follow(&follower, test::Groups({"shared"}));
    std::atomic<unsigned> faults{0};
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            for (unsigned j = 1; j <= kSteps; ++j) {
                _client.SetValue("[shared]" + std::to_string(i), std::to_string(j));
                faults += follower.Last(i) == j ? 0 : 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(faults, 0U);
    _client.Backend().Unfollow(&follower);
}

/// One callback that many threads subscribe and unsubscribe while others change its group: whatever happens
/// to be told is well formed, and nothing is told once everyone has unsubscribed.
TEST_P(ConcurrencyTests, SubscribingAndUnSubscribingByManyThreads) {
    std::atomic<unsigned> calls{0};
    std::atomic<unsigned> faults{0};
    Recorder callback([&](const Recorder::Call& call) {
        ++calls;
        faults += call.changed == std::set<std::string>{"shared"} ? 0 : 1;
    });
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            for (unsigned j = 0; j < kSteps / 3; ++j) {
                if (i % 2 == 0) {
                    _client.Subscribe(&callback, "shared");
                    _client.SetValue("[shared]x", std::to_string(j));
                    _client.UnSubscribe(&callback);
                } else {
                    _client.SetValue("[shared]y", std::to_string(i * kSteps + j));
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    _client.UnSubscribe(&callback);
    const unsigned before = calls;
    _client.SetValue("[shared]x", "last");
    test::Drain(_client);
    EXPECT_EQ(calls, before);
    EXPECT_EQ(faults, 0U);
}

}  // namespace
}  // namespace zumra::settings
