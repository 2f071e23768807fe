#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <utility>

#include "client/Callbacks.h"

namespace zumra::settings {
namespace {

using Client = ZumraSettingsClient;
using Strings = std::set<std::string>;
using test::Drain;
using test::Event;
using test::Recorder;

class UnSubscribeTests : public testing::TestWithParam<Client::OperationMode> {
protected:
    /// Begins while a call runs, which `release` lets go on, and raises `returned` at its own end.
    void UnSubscribeDuringCall(Recorder& callback, Event& release, Event& returned) {
        Event unsubscribing;
        std::thread other([&] {
            unsubscribing.Set();
            _client.UnSubscribe(&callback);
            returned.Set();
        });
        unsubscribing.Wait();
        for (int i = 0; i < 1000; ++i) {
            std::this_thread::yield();
        }
        release.Set();
        other.join();
    }

    Client _client{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(All, UnSubscribeTests, testing::ValuesIn(test::kModes),
                         [](const auto& mode) { return test::ModeName(mode.param); });

TEST_P(UnSubscribeTests, NothingIsToldAfterwards) {
    Recorder callback;
    Recorder other;
    _client.Subscribe(&callback, Strings{"a", "b"});
    _client.Subscribe(&other, "a");
    _client.SetValue("[a]x", "1");
    Drain(_client);
    _client.UnSubscribe(&callback);
    _client.SetValue("[a]x", "2");
    _client.SetValue("[b]x", "2");
    Drain(_client);
    EXPECT_EQ(callback.Count(), 1U);
    EXPECT_EQ(other.Count(), 2U) << "what others want stays subscribed";
    _client.Subscribe(&callback, "b");
    _client.SetValue("[b]x", "3");
    Drain(_client);
    EXPECT_EQ(callback.Count(), 2U);
}

TEST_P(UnSubscribeTests, ItselfFromWithin) {
    Recorder* self = nullptr;
    Recorder callback([&](const Recorder::Call&) { _client.UnSubscribe(self); });
    self = &callback;
    _client.Subscribe(&callback, "a");
    _client.SetValue("[a]x", "1");
    _client.SetValue("[a]x", "2");
    Drain(_client);
    EXPECT_EQ(callback.Count(), 1U);
}

/// Deletes itself in its call, which is allowed once it is unsubscribed.
class SelfDeleting final : public IChangeCallback {
public:
    SelfDeleting(Client& client, Event& deleted) : _client(client), _deleted(deleted) {}
    ~SelfDeleting() override { _deleted.Set(); }
    void SettingsChanged(const Strings&, const core::IniFile&) override {
        _client.UnSubscribe(this);
        delete this;
    }

private:
    Client& _client;
    Event& _deleted;
};

TEST_P(UnSubscribeTests, MayDestroyItselfFromWithinOnceUnsubscribed) {
    Event deleted;
    _client.Subscribe(new SelfDeleting(_client, deleted), "a");
    _client.SetValue("[a]x", "1");
    deleted.Wait();
    _client.SetValue("[a]x", "2");
    Drain(_client);
}

TEST_P(UnSubscribeTests, WaitsForTheCallThatIsRunning) {
    Event inside;
    Event release;
    Event returned;
    bool returnedTooEarly = false;
    Recorder callback([&](const Recorder::Call&) {
        inside.Set();
        release.Wait();
        returnedTooEarly = returned.IsSet();
    });
    _client.Subscribe(&callback, "a");
    std::thread changing([&] { _client.SetValue("[a]x", "1"); });
    inside.Wait();
    UnSubscribeDuringCall(callback, release, returned);
    changing.join();
    EXPECT_FALSE(returnedTooEarly);
    _client.SetValue("[a]x", "2");
    Drain(_client);
    EXPECT_EQ(callback.Count(), 1U);
}

/// Its owner unsubscribes too, not knowing that it does so itself, and then destroys it.
TEST_P(UnSubscribeTests, WaitsForACallThatHasUnSubscribedItself) {
    Event inside;
    Event release;
    Event returned;
    Event done;
    bool returnedTooEarly = false;
    Recorder* self = nullptr;
    Recorder callback([&](const Recorder::Call&) {
        _client.UnSubscribe(self);
        inside.Set();
        release.Wait();
        returnedTooEarly = returned.IsSet();
        done.Set();
    });
    self = &callback;
    _client.Subscribe(&callback, "a");
    std::thread changing([&] { _client.SetValue("[a]x", "1"); });
    inside.Wait();
    UnSubscribeDuringCall(callback, release, returned);
    changing.join();
    done.Wait();
    EXPECT_FALSE(returnedTooEarly);
}

TEST_P(UnSubscribeTests, OneThatSubscribesItselfAnewIsStillCalledByOneThreadAtATime) {
    std::atomic<int> running{0};
    bool overlapped = false;
    bool first = true;
    Recorder* self = nullptr;
    Recorder callback([&](const Recorder::Call&) {
        overlapped = overlapped || ++running != 1;
        if (std::exchange(first, false)) {
            _client.UnSubscribe(self);
            _client.Subscribe(self, "a");
            _client.SetValue("[a]x", "from within");
            std::thread([&] { _client.SetValue("[a]x", "by another"); }).join();
        }
        --running;
    });
    self = &callback;
    _client.Subscribe(&callback, "a");
    _client.SetValue("[a]x", "1");
    callback.WaitForCalls(3);
    Drain(_client);
    EXPECT_FALSE(overlapped);
    const auto calls = callback.Calls();
    ASSERT_EQ(calls.size(), 3U);
    EXPECT_EQ(calls[1].data.GetValue("a", "x"), "from within");
    EXPECT_EQ(calls[2].data.GetValue("a", "x"), "by another");
}

TEST_P(UnSubscribeTests, OneThatSubscribesItselfAnewIsNotToldOfWhatWasBefore) {
    Event inside;
    Event changed;
    Recorder* self = nullptr;
    Recorder callback([&](const Recorder::Call& call) {
        if (call.data.GetValue("a", "x") == "1") {
            inside.Set();
            changed.Wait();
            _client.UnSubscribe(self);
            _client.Subscribe(self, "a");
        }
    });
    self = &callback;
    _client.Subscribe(&callback, "a");
    std::thread changing([&] { _client.SetValue("[a]x", "1"); });
    inside.Wait();
    _client.SetValue("[a]x", "2");
    _client.SetValue("[a]x", "3");
    changed.Set();
    callback.WaitForCalls(1);
    changing.join();
    _client.SetValue("[a]x", "4");
    Drain(_client);
    const auto calls = callback.Calls();
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[1].data.GetValue("a", "x"), "4");
}

TEST(UnSubscribeThreadTests, DropsWhatIsQueued) {
    Client client(Client::kLocalMultiThreadedPipe);
    Event inside;
    Event release;
    Recorder slow([&](const Recorder::Call&) {
        inside.Set();
        release.Wait();
    });
    Recorder dropped;
    client.Subscribe(&slow, "a");
    client.Subscribe(&dropped, "b");
    client.SetValue("[a]x", "1");
    inside.Wait();
    client.SetValue("[b]x", "1");
    client.UnSubscribe(&dropped);
    release.Set();
    Drain(client);
    EXPECT_EQ(slow.Count(), 1U);
    EXPECT_EQ(dropped.Count(), 0U);
}

}  // namespace
}  // namespace zumra::settings
