#include <gtest/gtest.h>

#include "client/Callbacks.h"
#include "client/Exchanges.h"
#include "client/FailingThreads.h"

namespace zumra::settings {
namespace {

using Client = ZumraSettingsClient;
using test::Recorder;

/// Requests, replies and notifications that are greater than any buffer between the ends.
class LargeMessageTests : public testing::TestWithParam<Client::OperationMode> {
protected:
    static core::IniFile Large() {
        core::IniFile document;
        for (unsigned i = 0; i < test::Scaled(20000); ++i) {
            document["group/" + std::to_string(i)]["name"] = std::string(200, 'v') + std::to_string(i);
        }
        return document;
    }
    static core::IniFile All(const Client& client) {
        core::IniFile all;
        client.GetSettings("*", all);
        return all;
    }

    Client _client{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(All, LargeMessageTests, testing::ValuesIn(test::kModes),
                         [](const auto& mode) { return test::ModeName(mode.param); });

TEST_P(LargeMessageTests, DocumentOfManyGroups) {
    const core::IniFile large = Large();
    _client.MergeSettings(large);
    EXPECT_TRUE(All(_client) == large);
    core::IniFile held = large;
    _client.RefreshSettings(held);
    EXPECT_TRUE(held == large) << "a list of names as long as the document";
    EXPECT_TRUE(_client.TestAndMerge(large, large));
}

TEST_P(LargeMessageTests, OneValueOfSeveralMegabytes) {
    const std::string value(std::size_t{8} << 20, 'x');
    _client.SetValue("[a]x", value);
    EXPECT_TRUE(_client.GetValue("[a]x") == value);
    const std::string lines = std::string(std::size_t{1} << 20, '\n') + "\n.\nsync\n";
    _client.SetValue("[a]x", lines);
    EXPECT_TRUE(_client.GetValue("[a]x") == lines);
}

TEST_P(LargeMessageTests, NotificationsBesideRequests) {
    const core::IniFile large = Large();
    Recorder callback;
    _client.Subscribe(&callback, "*");
    test::RecordingFollower follower;
    _client.Backend().Follow(&follower, test::Groups({"none"}));
    for (int i = 0; i < 3; ++i) {
        // Each request meets the notification of the one before on its way.
        _client.OverwriteSettings("*", large);
    }
    callback.WaitForCalls(3);
    EXPECT_TRUE(callback.Calls()[2].data == large);
    EXPECT_EQ(callback.Calls()[2].changed.size(), large.size());
    _client.EraseGroups("group/*");
    callback.WaitForCalls(4);
    EXPECT_TRUE(callback.Calls()[3].data.empty());
    EXPECT_EQ(callback.Calls()[3].changed.size(), large.size());
    EXPECT_TRUE(All(_client).empty());
    EXPECT_EQ(follower.Text(), "snapshot");
}

TEST_P(LargeMessageTests, NestedCallsFromACallback) {
    const core::IniFile large = Large();
    Recorder callback([&](const Recorder::Call& call) {
        if (call.data.GetValue("trigger", "x") == "1") {
            _client.MergeSettings(large);
        }
    });
    _client.Subscribe(&callback, "trigger");
    _client.SetValue("[trigger]x", "1");
    callback.WaitForCalls(1);
    EXPECT_EQ(All(_client).size(), large.size() + 1);
}

}  // namespace
}  // namespace zumra::settings
