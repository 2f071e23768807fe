#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>
#include <utility>

#include "settings/common/ChangeRouter.h"

namespace zumra::settings::common {
namespace {

/// Does something when it is called, and counts.
class Listener : public IChangeListener {
public:
    explicit Listener(std::function<void(int)> action = [](int) {}) : _action(std::move(action)) {}
    void OnChange(const std::shared_ptr<const Change>&, const CoveredNames&) override {
        _action(calls + 1);
        ++calls;
    }
    std::atomic<int> calls{0};

private:
    const std::function<void(int)> _action;
};

std::shared_ptr<const Change> ChangeOf(const char* group) {
    auto change = std::make_shared<Change>();
    change->groups.emplace(group, SharedGroup());
    return change;
}

TEST(ChangeRouterSettleTests, TellsWhatNobodyHasToldYet) {
    ChangeRouter router;
    Listener listener;
    Listener other;
    router.Add(&listener, GroupNameMatcher("*"));
    router.Add(&other, GroupNameMatcher("*"));
    const auto first = router.Queue(ChangeOf("a"));
    const auto second = router.Queue(ChangeOf("b"));
    router.Settle(&listener);
    EXPECT_EQ(listener.calls, 2);
    EXPECT_EQ(other.calls, 0);
    ChangeRouter::Deliver(first);
    ChangeRouter::Deliver(second);
    EXPECT_EQ(listener.calls, 2);
    EXPECT_EQ(other.calls, 2);
}

TEST(ChangeRouterSettleTests, KnowsNothingOfStrangers) {
    ChangeRouter router;
    Listener listener;
    router.Settle(&listener);
    EXPECT_EQ(listener.calls, 0);
}

TEST(ChangeRouterSettleTests, WaitsForTheCallsOnAnotherThreadThatWereDueOnly) {
    ChangeRouter router;
    std::atomic<int> inCall{0};
    std::atomic<int> mayReturn{0};
    Listener listener([&](int number) {
        inCall = number;
        inCall.notify_all();
        for (int allowed = mayReturn; allowed < number; allowed = mayReturn) {
            mayReturn.wait(allowed);
        }
    });
    router.Add(&listener, GroupNameMatcher("*"));
    const auto due = router.Queue(ChangeOf("a"));
    std::thread teller([&] { ChangeRouter::Deliver(due); });
    inCall.wait(0);
    std::atomic<bool> settled{false};
    std::thread settler([&] {
        router.Settle(&listener);
        settled = true;
        settled.notify_all();
    });
    EXPECT_FALSE(settled);
    mayReturn = 1;
    mayReturn.notify_all();
    settled.wait(false);
    EXPECT_EQ(listener.calls, 1);
    settler.join();
    teller.join();
}

TEST(ChangeRouterSettleTests, FromWithinItsOwnCallItReturnsAtOnce) {
    ChangeRouter router;
    Listener* self = nullptr;
    ChangeRouter::Deliveries later;
    Listener listener([&](int number) {
        if (number == 1) {
            later = router.Queue(ChangeOf("b"));
            router.Settle(self);
        }
    });
    self = &listener;
    router.Add(&listener, GroupNameMatcher("*"));
    ChangeRouter::Deliver(router.Queue(ChangeOf("a")));
    EXPECT_EQ(listener.calls, 2);
}

TEST(ChangeRouterSettleTests, PassesOnWhatTheListenerThrows) {
    ChangeRouter router;
    Listener listener([](int) { throw 1; });
    router.Add(&listener, GroupNameMatcher("*"));
    const auto queued = router.Queue(ChangeOf("a"));
    EXPECT_THROW(router.Settle(&listener), int);
    router.Settle(&listener);
}

TEST(ChangeRouterSettleTests, AfterItsReturnEveryEarlierChangeWasTold) {
    ChangeRouter router;
    Listener listener;
    router.Add(&listener, GroupNameMatcher("*"));
    std::atomic<int> posted{0};
    std::vector<std::thread> writers;
    for (int i = 0; i < 4; ++i) {
        writers.emplace_back([&] {
            for (int n = 0; n < 2000; ++n) {
                const auto deliveries = router.Queue(ChangeOf("a"));
                ++posted;
                ChangeRouter::Deliver(deliveries);
            }
        });
    }
    for (int n = 0; n < 2000; ++n) {
        const int before = posted;
        router.Settle(&listener);
        ASSERT_GE(listener.calls, before);
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    EXPECT_EQ(listener.calls, 8000);
}

}  // namespace
}  // namespace zumra::settings::common
