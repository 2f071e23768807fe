#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "common/RecordingListener.h"
#include "server/StoreDoubles.h"
#include "zumra/settings/server/SettingsManager.h"

namespace zumra::settings::server {
namespace {

using common::GroupNameMatcher;
using common::testing::RecordingListener;
using testing::Document;
using testing::RecordingCallback;
using Names = std::set<std::string>;

TEST(SubscriptionTest, SubscriberIsGivenItsChangedGroupsWhole) {
    SettingsManager store;
    store.MergeSettings(Document("[a]\nx=1\n[b]\nx=1\n[c]\nx=1\n"));
    RecordingCallback subscriber;
    store.Subscribe(&subscriber, {"a", "b", "n*"});
    store.MergeSettings(Document("[a]\ny=2\n[c]\ny=2\n[new]\n"));
    ASSERT_EQ(subscriber.calls.size(), 1U);
    EXPECT_EQ(subscriber.calls[0].groups, (Names{"a", "new"}));
    EXPECT_EQ(subscriber.calls[0].data, Document("[a]\nx=1\ny=2\n[new]\n"));
    store.SetValue("c", "x", "5");
    store.SetValue("a", "x", "1");
    EXPECT_EQ(subscriber.calls.size(), 1U) << "neither concerns it";
    store.EraseValue("b", "x");
    EXPECT_EQ(subscriber.calls.at(1).data, Document("[b]\n"));
}

TEST(SubscriptionTest, RemovedGroupsAreNamedAndMissing) {
    SettingsManager store;
    store.MergeSettings(Document("[a]\nx=1\n[b]\nx=1\n"));
    RecordingCallback subscriber;
    store.Subscribe(&subscriber, {"*"});
    store.OverwriteSettings(GroupNameMatcher("*"), Document("[b]\nx=1\n"));
    store.EraseGroups(GroupNameMatcher("b"));
    ASSERT_EQ(subscriber.calls.size(), 2U);
    EXPECT_EQ(subscriber.calls[0].groups, (Names{"a", "b"})) << "also what stayed the same";
    EXPECT_EQ(subscriber.calls[0].data, Document("[b]\nx=1\n"));
    EXPECT_EQ(subscriber.calls[1].groups, Names{"b"});
    EXPECT_TRUE(subscriber.calls[1].data.empty());
}

TEST(SubscriptionTest, SubscribingAgainAddsGroups) {
    SettingsManager store;
    RecordingCallback subscriber;
    store.Subscribe(&subscriber, {"a"});
    store.Subscribe(&subscriber, {"a", "b"});
    store.MergeSettings(Document("[a]\n[b]\n"));
    ASSERT_EQ(subscriber.calls.size(), 1U);
    EXPECT_EQ(subscriber.calls[0].groups, (Names{"a", "b"}));
    store.UnSubscribe(&subscriber);
    store.UnSubscribe(&subscriber);
    store.EraseGroups(GroupNameMatcher("*"));
    EXPECT_EQ(subscriber.calls.size(), 1U);
}

/// Does what the test wants in each call.
class ActingCallback : public IChangeCallback {
public:
    explicit ActingCallback(std::function<void(const core::IniFile&)> act) : _act(std::move(act)) {}
    void SettingsChanged(const Names&, const core::IniFile& data) override { _act(data); }

private:
    std::function<void(const core::IniFile&)> _act;
};

TEST(SubscriptionTest, SubscriberMayUseTheStoreInItsCall) {
    SettingsManager store;
    RecordingCallback bystander;
    std::vector<std::string> seen;
    ActingCallback counter([&](const core::IniFile& data) {
        const std::string value = data.GetValue("a", "x");
        seen.push_back(value);
        EXPECT_EQ(store.GetValue("a", "x"), value);
        if (value.size() < 3) {
            store.SetValue("a", "x", value + "i");
            EXPECT_EQ(seen.back(), value) << "told of its own change within its call";
        }
    });
    store.Subscribe(&counter, {"a"});
    store.Subscribe(&bystander, {"a"});
    store.SetValue("a", "x", "i");
    EXPECT_EQ(seen, (std::vector<std::string>{"i", "ii", "iii"}));
    ASSERT_EQ(bystander.calls.size(), 3U);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(bystander.calls[i].data.GetValue("a", "x"), std::string(i + 1, 'i'));
    }
}

TEST(SubscriptionTest, SubscriberMayUnsubscribeAndDestroyItselfInItsCall) {
    SettingsManager store;
    int calls = 0;
    std::unique_ptr<ActingCallback> subscriber;
    subscriber = std::make_unique<ActingCallback>([&](const core::IniFile&) {
        ++calls;
        store.UnSubscribe(subscriber.get());
        store.SetValue("a", "y", "1");
        subscriber.reset();
    });
    store.Subscribe(subscriber.get(), {"a"});
    store.SetValue("a", "x", "1");
    store.SetValue("a", "x", "2");
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(store.Statistics().listeners, 0U);
}

TEST(SubscriptionTest, WhatASubscriberThrowsComesOutAfterTheCommitWasSaved) {
    testing::MemoryStorage storage;
    SettingsManager store(&storage);
    RecordingCallback other;
    ActingCallback thrower([](const core::IniFile&) { throw std::runtime_error("thrown"); });
    store.Subscribe(&thrower, {"a"});
    store.Subscribe(&other, {"a"});
    EXPECT_THROW(store.SetValue("a", "x", "1"), std::runtime_error);
    EXPECT_EQ(store.GetValue("a", "x"), "1");
    EXPECT_EQ(storage.settings, Document("[a]\nx=1\n"));
    EXPECT_EQ(other.calls.size(), 1U);
}

TEST(SubscriptionTest, StoreMayEndWithSubscribers) {
    RecordingCallback subscriber;
    {
        SettingsManager store;
        store.Subscribe(&subscriber, {"*"});
        store.SetValue("a", "x", "1");
    }
    EXPECT_EQ(subscriber.calls.size(), 1U);
}

TEST(SubscriptionTest, ListenerIsGivenTheStateFromWhichItIsTold) {
    SettingsManager store;
    store.MergeSettings(Document("[a]\nx=1\n[ab]\nx=1\n[b]\nx=1\n"));
    RecordingListener listener;
    common::GroupMap current;
    current["old"];
    EXPECT_EQ(store.Subscribe(&listener, GroupNameMatcher("a*"), &current), 1U);
    ASSERT_EQ(current.size(), 2U) << "what was in it is gone";
    EXPECT_EQ(current.at("ab")->at("x"), "1");
    store.SetValue("ab", "x", "2");
    EXPECT_EQ(current.at("ab")->at("x"), "1");
    EXPECT_EQ(listener.calls, (std::vector<RecordingListener::Call>{{2, {"ab"}}}));
    store.UnSubscribe(&listener, GroupNameMatcher("a*"));
    store.SetValue("ab", "x", "3");
    EXPECT_EQ(listener.calls.size(), 1U);
    store.UnSubscribe(&listener);
    EXPECT_EQ(store.Subscribe(&listener, GroupNameMatcher("b")), 3U);
    store.SetValue("b", "x", "4");
    EXPECT_EQ(listener.calls.size(), 2U);
}

/// What a listener was given never changes, whatever the store does next.
TEST(SubscriptionTest, ChangeStaysAsItWasGiven) {
    class Keeper : public common::IChangeListener {
    public:
        void OnChange(const std::shared_ptr<const common::Change>& change,
                      const common::CoveredNames&) override {
            changes.push_back(change);
        }
        std::vector<std::shared_ptr<const common::Change>> changes;
    };
    SettingsManager store;
    Keeper keeper;
    store.Subscribe(&keeper, GroupNameMatcher("a"));
    for (int i = 1; i <= 5; ++i) {
        store.SetValue("a", "x", std::to_string(i));
    }
    store.EraseGroups(GroupNameMatcher("a"));
    ASSERT_EQ(keeper.changes.size(), 6U);
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(keeper.changes[i]->revision, i + 1);
        EXPECT_EQ(keeper.changes[i]->groups.at("a")->at("x"), std::to_string(i + 1));
    }
    EXPECT_FALSE(keeper.changes[5]->groups.at("a"));
}

TEST(SubscriptionTest, NobodyWaitsForASlowSubscriber) {
    SettingsManager store;
    std::promise<void> entered;
    std::promise<void> gate;
    std::vector<std::string> seen;
    ActingCallback slow([&](const core::IniFile& data) {
        if (seen.empty()) {
            entered.set_value();
            gate.get_future().wait();
        }
        seen.push_back(data.GetValue("a", "x"));
    });
    RecordingCallback quick;
    store.Subscribe(&slow, {"a"});
    store.Subscribe(&quick, {"b"});
    std::thread writer([&] { store.SetValue("a", "x", "1"); });
    entered.get_future().wait();
    EXPECT_EQ(store.GetValue("a", "x"), "1");
    store.SetValue("a", "x", "2");
    store.SetValue("b", "x", "1");
    EXPECT_EQ(quick.calls.size(), 1U);
    gate.set_value();
    writer.join();
    EXPECT_EQ(seen, (std::vector<std::string>{"1", "2"}));
}

TEST(SubscriptionTest, UnSubscribeWaitsForACallThatHasUnSubscribedItself) {
    for (int round = 0; round < 200; ++round) {
        SettingsManager store;
        std::promise<void> entered;
        std::promise<void> gate;
        std::atomic<bool> inCall{false};
        ActingCallback* self = nullptr;
        ActingCallback subscriber([&](const core::IniFile&) {
            store.UnSubscribe(self);
            inCall = true;
            entered.set_value();
            gate.get_future().wait();
            inCall = false;
        });
        self = &subscriber;
        store.Subscribe(&subscriber, {"a"});
        std::thread writer([&] { store.SetValue("a", "x", "1"); });
        entered.get_future().wait();
        gate.set_value();
        store.UnSubscribe(&subscriber);
        EXPECT_FALSE(inCall);
        writer.join();
    }
}

TEST(SubscriptionTest, OneThatSubscribesItselfAnewIsToldOfItsOwnChangeAfterItsCall) {
    SettingsManager store;
    int depth = 0;
    int deepest = 0;
    std::vector<std::string> seen;
    ActingCallback* self = nullptr;
    ActingCallback subscriber([&](const core::IniFile& data) {
        deepest = std::max(deepest, ++depth);
        seen.push_back(data.GetValue("a", "x"));
        if (seen.size() == 1) {
            store.UnSubscribe(self);
            store.Subscribe(self, {"a"});
            store.SetValue("a", "x", "2");
        }
        --depth;
    });
    self = &subscriber;
    store.Subscribe(&subscriber, {"a"});
    store.SetValue("a", "x", "1");
    EXPECT_EQ(deepest, 1);
    EXPECT_EQ(seen, (std::vector<std::string>{"1", "2"}));
}

TEST(SubscriptionTest, DeferredSaveDoesNotWaitForASubscriber) {
    testing::BlockingStorage storage;
    storage.Open();
    SettingsManager store(&storage, nullptr, nullptr, true);
    ActingCallback awaiter([&](const core::IniFile&) { storage.AwaitSaves(1); });
    store.Subscribe(&awaiter, {"a"});
    store.SetValue("a", "x", "1");
    EXPECT_EQ(storage.Saved(), Document("[a]\nx=1\n"));
}

}  // namespace
}  // namespace zumra::settings::server
