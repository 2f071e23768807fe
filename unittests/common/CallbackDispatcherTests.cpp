#include "zumra/settings/common/CallbackDispatcher.h"

#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace zumra::settings::common {
namespace {

using Names = std::set<std::string>;

class Subscriber : public IChangeCallback {
public:
    Subscriber() = default;
    explicit Subscriber(std::function<void()> then) : _then(std::move(then)) {}

    void SettingsChanged(const Names& changedGroups, const core::IniFile& data) override {
        calls.push_back(changedGroups);
        documents.push_back(&data);
        if (_then) {
            _then();
        }
    }

    std::vector<Names> calls;
    std::vector<const core::IniFile*> documents;

private:
    std::function<void()> _then;
};

core::IniFile DocumentWith(const Names& groups) {
    core::IniFile document;
    for (const std::string& group : groups) {
        document[group];
    }
    return document;
}

TEST(CallbackDispatcherTest, GivesTheVeryDocumentToEachSubscriber) {
    CallbackDispatcher dispatcher;
    Subscriber a;
    Subscriber ab;
    Subscriber none;
    dispatcher.AddCallback(&a, Names{"a"});
    dispatcher.AddCallback(&ab, Names{"a", "b*"});
    dispatcher.AddCallback(&none, Names{"other"});
    const core::IniFile document = DocumentWith({"a", "b1", "c"});
    dispatcher.OnChange(document);
    EXPECT_EQ(a.calls, std::vector<Names>{{"a"}});
    EXPECT_EQ(ab.calls, (std::vector<Names>{{"a", "b1"}}));
    EXPECT_TRUE(none.calls.empty());
    EXPECT_EQ(a.documents.at(0), &document);
    EXPECT_EQ(ab.documents.at(0), &document);
}

TEST(CallbackDispatcherTest, ReportsNamesThatTheDocumentLacks) {
    CallbackDispatcher dispatcher;
    Subscriber subscriber;
    dispatcher.AddCallback(&subscriber, Names{"gone", "kept", "x*"});
    const core::IniFile document = DocumentWith({"kept", "x1"});
    dispatcher.OnChange(Names{"gone", "other"}, document);
    EXPECT_EQ(subscriber.calls, std::vector<Names>{{"gone"}}) << "only what is named counts";
    EXPECT_EQ(subscriber.documents.at(0), &document);
}

TEST(CallbackDispatcherTest, AddingAgainIsTheUnionAndOneCall) {
    CallbackDispatcher dispatcher;
    Subscriber subscriber;
    dispatcher.AddCallback(&subscriber, Names{"a", "b*"});
    GroupNameMatcher more("c");
    more.AddNameOrPattern("a");
    dispatcher.AddCallback(&subscriber, more);
    dispatcher.OnChange(DocumentWith({"a", "b", "c"}));
    EXPECT_EQ(subscriber.calls, (std::vector<Names>{{"a", "b", "c"}}));
    Names all{"there before"};
    dispatcher.GetAllSubscribedGroups(all);
    EXPECT_EQ(all, (Names{"a", "b*", "c", "there before"}));
}

TEST(CallbackDispatcherTest, RemovedSubscriberIsForgotten) {
    CallbackDispatcher dispatcher;
    Subscriber subscriber;
    dispatcher.AddCallback(&subscriber, Names{"a", "b*"});
    dispatcher.RemoveCallback(&subscriber);
    dispatcher.RemoveCallback(&subscriber);
    dispatcher.OnChange(DocumentWith({"a", "b"}));
    EXPECT_TRUE(subscriber.calls.empty());
    Names all;
    dispatcher.GetAllSubscribedGroups(all);
    EXPECT_EQ(all, Names{});
}

TEST(CallbackDispatcherTest, SubscriberMayUseTheDispatcherInItsCall) {
    CallbackDispatcher dispatcher;
    Subscriber second;
    std::unique_ptr<Subscriber> first;
    first = std::make_unique<Subscriber>([&] {
        dispatcher.AddCallback(&second, Names{"b"});
        dispatcher.OnChange(DocumentWith({"b"}));
        dispatcher.RemoveCallback(first.get());
        first.reset();
    });
    dispatcher.AddCallback(first.get(), Names{"a"});
    dispatcher.OnChange(DocumentWith({"a"}));
    EXPECT_EQ(first, nullptr);
    EXPECT_EQ(second.calls, std::vector<Names>{{"b"}});
}

TEST(CallbackDispatcherTest, SubscriberRemovedByAnotherDuringTheSameChangeIsNotCalled) {
    CallbackDispatcher dispatcher;
    Subscriber* other[2] = {nullptr, nullptr};
    Subscriber a([&] { dispatcher.RemoveCallback(other[0]); });
    Subscriber b([&] { dispatcher.RemoveCallback(other[1]); });
    other[0] = &b;
    other[1] = &a;
    dispatcher.AddCallback(&a, Names{"x"});
    dispatcher.AddCallback(&b, Names{"x"});
    dispatcher.OnChange(DocumentWith({"x"}));
    EXPECT_EQ(a.calls.size() + b.calls.size(), 1U) << "whichever comes first removes the other";
}

TEST(CallbackDispatcherTest, OneThatThrowsDoesNotKeepTheChangeFromOthers) {
    CallbackDispatcher dispatcher;
    Subscriber quiet[2];
    Subscriber thrower([] { throw std::runtime_error("thrown"); });
    dispatcher.AddCallback(&quiet[0], Names{"a"});
    dispatcher.AddCallback(&thrower, Names{"a"});
    dispatcher.AddCallback(&quiet[1], Names{"a"});
    EXPECT_THROW(dispatcher.OnChange(DocumentWith({"a"})), std::runtime_error);
    EXPECT_THROW(dispatcher.OnChange(DocumentWith({"a"})), std::runtime_error) << "it stays registered";
    EXPECT_EQ(quiet[0].calls.size(), 2U);
    EXPECT_EQ(quiet[1].calls.size(), 2U);
}

TEST(CallbackDispatcherTest, RemoveWaitsForACallOnAnotherThread) {
    for (int round = 0; round < 200; ++round) {
        CallbackDispatcher dispatcher;
        std::promise<void> entered;
        std::promise<void> gate;
        std::atomic<bool> inCall{false};
        Subscriber subscriber([&] {
            inCall = true;
            entered.set_value();
            gate.get_future().wait();
            inCall = false;
        });
        dispatcher.AddCallback(&subscriber, Names{"a"});
        std::thread reporter([&] { dispatcher.OnChange(DocumentWith({"a"})); });
        entered.get_future().wait();
        gate.set_value();
        dispatcher.RemoveCallback(&subscriber);
        EXPECT_FALSE(inCall);
        reporter.join();
    }
}

TEST(CallbackDispatcherTest, RemoveWaitsForACallThatHasRemovedItsSubscriber) {
    for (int round = 0; round < 200; ++round) {
        CallbackDispatcher dispatcher;
        std::promise<void> entered;
        std::promise<void> gate;
        std::atomic<bool> inCall{false};
        Subscriber* self = nullptr;
        Subscriber subscriber([&] {
            dispatcher.RemoveCallback(self);
            inCall = true;
            entered.set_value();
            gate.get_future().wait();
            inCall = false;
        });
        self = &subscriber;
        dispatcher.AddCallback(&subscriber, Names{"a"});
        std::thread reporter([&] { dispatcher.OnChange(DocumentWith({"a"})); });
        entered.get_future().wait();
        gate.set_value();
        dispatcher.RemoveCallback(&subscriber);
        EXPECT_FALSE(inCall);
        reporter.join();
    }
}

}  // namespace
}  // namespace zumra::settings::common
