#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "common/RecordingListener.h"
#include "settings/common/ChangeRouter.h"
#include "zumra/osa/Mutex.h"

namespace zumra::settings::common {
namespace {

using testing::ChangeOf;
using testing::RecordingListener;

/// A listener whose first call says that it runs and then waits for the test.
class GatedListener : public IChangeListener {
public:
    void OnChange(const std::shared_ptr<const Change>& change, const CoveredNames&) override {
        inCall = true;
        if (revisions.empty()) {
            entered.set_value();
            gate.get_future().wait();
        }
        revisions.push_back(change->revision);
        threads.push_back(std::this_thread::get_id());
        inCall = false;
    }

    std::promise<void> entered;
    std::promise<void> gate;
    std::atomic<bool> inCall{false};
    std::vector<std::uint64_t> revisions;
    std::vector<std::thread::id> threads;
};

TEST(ChangeRouterThreadTest, NobodyWaitsForASlowListener) {
    ChangeRouter router;
    GatedListener slow;
    RecordingListener quick;
    router.Add(&slow, GroupNameMatcher("a"));
    router.Add(&quick, GroupNameMatcher("b"));
    std::thread deliverer([&] { ChangeRouter::Deliver(router.Queue(ChangeOf(1, {"a"}))); });
    slow.entered.get_future().wait();
    ChangeRouter::Deliver(router.Queue(ChangeOf(2, {"a", "b"})));  // returns although the slow one is busy
    EXPECT_EQ(quick.Revisions(), std::vector<std::uint64_t>{2});
    EXPECT_TRUE(slow.inCall);
    const std::thread::id delivererId = deliverer.get_id();
    slow.gate.set_value();
    deliverer.join();
    EXPECT_EQ(slow.revisions, (std::vector<std::uint64_t>{1, 2}));
    EXPECT_EQ(slow.threads, (std::vector<std::thread::id>{delivererId, delivererId}));
}

TEST(ChangeRouterThreadTest, RemoveWaitsForACallOnAnotherThread) {
    for (int round = 0; round < 200; ++round) {
        ChangeRouter router;
        GatedListener listener;
        router.Add(&listener, GroupNameMatcher("a"));
        std::thread deliverer([&] { ChangeRouter::Deliver(router.Queue(ChangeOf(1, {"a"}))); });
        listener.entered.get_future().wait();
        listener.gate.set_value();
        router.Remove(&listener);
        EXPECT_FALSE(listener.inCall);
        deliverer.join();
    }
}

TEST(ChangeRouterThreadTest, RemoveEndsAlthoughTheListenerIsKeptBusyForSomeoneElse) {
    // One who removes a listener waits for the call that runs, not for what is added again meanwhile.
    ChangeRouter router;
    std::atomic<bool> stop{false};
    RecordingListener listener;
    std::thread writer([&] {
        for (std::uint64_t revision = 1; !stop; ++revision) {
            router.Add(&listener, GroupNameMatcher("a"));
            ChangeRouter::Deliver(router.Queue(ChangeOf(revision, {"a"})));
        }
    });
    for (int round = 0; round < 200; ++round) {
        router.Remove(&listener);
    }
    stop = true;
    writer.join();
    router.Remove(&listener);
    EXPECT_EQ(router.ListenerCount(), 0U);
}

/// Checks by itself that it is called in order, by one thread at a time, and not after it was removed.
class StrictListener : public IChangeListener {
public:
    void OnChange(const std::shared_ptr<const Change>& change, const CoveredNames& covered) override {
        if (inCall.exchange(true) || removed || covered.size() != 1 || change->revision <= last) {
            failed = true;
        }
        last = change->revision;
        ++count;
        inCall = false;
    }

    std::atomic<bool> inCall{false};
    std::atomic<bool> removed{false};
    std::atomic<bool> failed{false};
    std::uint64_t last = 0;
    std::uint64_t count = 0;
};

TEST(ChangeRouterThreadTest, OrderAndOnceUnderWritersAndComersAndGoers) {
    constexpr int kWriters = 4;
    constexpr int kComers = 4;
    constexpr int kChanges = 1000;
    ChangeRouter router;
    osa::Mutex mutex;
    std::uint64_t revision = 0;
    StrictListener constant;
    router.Add(&constant, GroupNameMatcher("g*"));
    std::atomic<int> writing{kWriters};
    std::atomic<bool> comersFailed{false};
    const auto write = [&](int writer) {
        for (int i = 0; i < kChanges; ++i) {
            ChangeRouter::Deliveries deliveries;
            {
                osa::MutexLock lock(mutex);
                deliveries = router.Queue(ChangeOf(++revision, {"g" + std::to_string(writer)}));
            }
            ChangeRouter::Deliver(deliveries);
        }
        --writing;
    };
    const auto comeAndGo = [&](int comer) {
        while (writing != 0) {
            auto listener = std::make_unique<StrictListener>();
            router.Add(listener.get(), GroupNameMatcher("g" + std::to_string(comer) + "*"));
            std::this_thread::yield();
            router.Remove(listener.get());
            listener->removed = true;
            if (listener->failed || listener->inCall) {
                comersFailed = true;
            }
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < kWriters; ++i) {
        threads.emplace_back(write, i);
    }
    for (int i = 0; i < kComers; ++i) {
        threads.emplace_back(comeAndGo, i % kWriters);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_FALSE(constant.failed);
    EXPECT_FALSE(comersFailed);
    EXPECT_EQ(constant.count, std::uint64_t{kWriters} * kChanges);
    EXPECT_EQ(constant.last, revision);
}

}  // namespace
}  // namespace zumra::settings::common
