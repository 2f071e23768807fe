#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <tuple>

#include "client/Callbacks.h"
#include "client/Exchanges.h"
#include "settings/client/InProcessServer.h"

namespace zumra::settings {
namespace {

using client::InProcessServer;
using Client = ZumraSettingsClient;
using Mode = Client::OperationMode;
using test::Document;
using test::Recorder;

/// Two clients of one store: the one that is subscribed, and the one that changes.
class SharedServerTests : public testing::TestWithParam<std::tuple<Mode, Mode>> {
protected:
    /// A callback of this mode that nobody calls yet is called by its client's next operation.
    void Await(Recorder& callback, std::size_t calls) {
        if (std::get<0>(GetParam()) == Client::kLocalSingleThreadedPipe) {
            _subscribed.Sync();
        }
        callback.WaitForCalls(calls);
    }

    InProcessServer _server{Document("[a]\nx=0\n")};
    Client _subscribed{_server.Connect(std::get<0>(GetParam()))};
    Client _changing{_server.Connect(std::get<1>(GetParam()))};
};

INSTANTIATE_TEST_SUITE_P(All, SharedServerTests,
                         testing::Combine(testing::ValuesIn(test::kModes), testing::ValuesIn(test::kModes)),
                         [](const auto& modes) {
                             return test::ModeName(std::get<0>(modes.param)) + "ToldBy" +
                                    test::ModeName(std::get<1>(modes.param));
                         });

TEST_P(SharedServerTests, ChangesOfTheOtherAreSeenAndTold) {
    Recorder callback;
    _subscribed.Subscribe(&callback, "a*");
    for (int i = 1; i <= 50; ++i) {
        _changing.SetValue("[a]x", std::to_string(i));
        EXPECT_EQ(_subscribed.GetValue("[a]x"), std::to_string(i));
    }
    _changing.EraseGroups("a");
    Await(callback, 51);
    const auto calls = callback.Calls();
    ASSERT_EQ(calls.size(), 51U);
    for (unsigned i = 0; i < 50; ++i) {
        EXPECT_EQ(calls[i].data.GetValue("a", "x"), std::to_string(i + 1));
    }
    EXPECT_TRUE(calls[50].data.empty());
    _subscribed.UnSubscribe(&callback);
    _changing.SetValue("[a]x", "unseen");
    _subscribed.Sync();
    EXPECT_EQ(callback.Count(), 51U);
}

TEST_P(SharedServerTests, FollowersSeeASnapshotAndWhatComesAfterIt) {
    test::RecordingFollower follower;
    _changing.SetValue("[a]x", "1");
    _subscribed.Backend().Follow(&follower, test::Groups({"a*"}));
    _changing.SetValue("[ab]x", "2");
    _changing.EraseGroups("a");
    _subscribed.Sync();
    _subscribed.Backend().Unfollow(&follower);
    _changing.SetValue("[a]x", "unseen");
    _subscribed.Sync();
    EXPECT_EQ(follower.Text(), "snapshot a{x=1;}change ab{x=2;}change a-");
}

TEST_P(SharedServerTests, WhatIsToldWhileALongRequestIsSentIsKept) {
    Recorder callback;
    _subscribed.Subscribe(&callback, "a");
    const std::string padding(1000, ' ');
    for (int i = 1; i <= 500; ++i) {
        _changing.SetValue("[a]x", std::to_string(i) + padding);
    }
    core::IniFile document;
    document["long"]["x"] = std::string(std::size_t{4} << 20, 'x');
    _subscribed.MergeSettings(document);
    EXPECT_EQ(_changing.GetValue("[long]x"), document.GetValue("long", "x"));
    Await(callback, 500);
    const auto calls = callback.Calls();
    ASSERT_EQ(calls.size(), 500U);
    for (unsigned i = 0; i < 500; ++i) {
        ASSERT_EQ(calls[i].data.GetValue("a", "x"), std::to_string(i + 1) + padding);
    }
    _subscribed.UnSubscribe(&callback);
}

/// Follows a counter that another client raises, and checks that nothing is missed and nothing goes
/// backwards.
class CountFollower final : public client::IFollower {
public:
    void OnSnapshot(const common::GroupMap& groups, const common::GroupNameMatcher& /*scope*/) override {
        Take(groups, true);
    }
    void OnChange(const std::shared_ptr<const common::Change>& change, const common::CoveredNames&) override {
        Take(change->groups, false);
    }
    [[nodiscard]] unsigned long Last() const { return _last; }
    [[nodiscard]] unsigned Faults() const { return _faults; }

private:
    void Take(const common::GroupMap& groups, bool snapshot) {
        const unsigned long count = std::stoul(groups.at("a")->at("x"));
        _faults += (snapshot ? count < _last : count != _last + 1) ? 1 : 0;
        _last = count;
    }

    unsigned long _last = 0;
    unsigned _faults = 0;
};

TEST_P(SharedServerTests, SnapshotsFitTheChangesWhileTheOtherWrites) {
    constexpr unsigned long kChanges = 2000;
    std::thread writer([&] {
        for (unsigned long i = 1; i <= kChanges; ++i) {
            _changing.SetValue("[a]x", std::to_string(i));
        }
    });
    unsigned faults = 0;
    unsigned long last = 0;
    while (last < kChanges) {
        CountFollower follower;
        _subscribed.Backend().Follow(&follower, test::Groups({"a"}));
        _subscribed.Sync();
        _subscribed.Backend().Follow(&follower, test::Groups({"other"}));
        _subscribed.Sync();
        _subscribed.Backend().Unfollow(&follower);
        faults += follower.Faults();
        last = follower.Last();
    }
    writer.join();
    EXPECT_EQ(faults, 0U);
}

TEST(SharedServerLifeTests, TheStoreLivesAsLongAsAnyOfItsClients) {
    std::unique_ptr<Client> last;
    {
        const InProcessServer server(Document("[a]\nx=1\n"));
        const Client first(server.Connect(Client::kLocalMultiThreadedPipe));
        last = std::make_unique<Client>(server.Connect(Client::kLocalSingleThreadedPipe));
    }
    EXPECT_EQ(last->GetValue("[a]x"), "1");
}

}  // namespace
}  // namespace zumra::settings
