#include "settings/server/SessionOutput.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace zumra::settings::server {
namespace {

class SessionOutputTests : public ::testing::Test {
protected:
    /// As another thread would.
    void Notify(std::uint64_t revision, const std::string& text) {
        std::thread([&] { _queue.Notify(revision, text); }).join();
    }

    std::atomic<int> _wakes{0};
    std::shared_ptr<Waker> _waker = std::make_shared<Waker>([this] { ++_wakes; });
    OutputQueue _queue{20, _waker};
};

TEST_F(SessionOutputTests, GivesEverythingInOrderOnce) {
    _queue.Append("a");
    _queue.Notify(1, "b");
    _queue.Append("c");
    EXPECT_TRUE(_queue.HasOutput());
    EXPECT_EQ(_queue.PendingBytes(), 3U);
    EXPECT_EQ(_queue.Take(), "abc");
    EXPECT_FALSE(_queue.HasOutput());
    EXPECT_EQ(_queue.Take(), "");
}

TEST_F(SessionOutputTests, AReplyStandsWhereItsRevisionBelongs) {
    _queue.Notify(1, "1");
    _queue.Hold();
    _queue.Notify(2, "2");
    _queue.Notify(3, "3");
    _queue.Notify(4, "4");
    EXPECT_EQ(_queue.Take(), "1");
    EXPECT_EQ(_queue.PendingBytes(), 3U);
    _queue.AppendAt(3, "get");
    _queue.Notify(5, "5");
    EXPECT_EQ(_queue.Take(), "23get45");
}

TEST_F(SessionOutputTests, ReleaseWithoutAReplyLosesNothing) {
    _queue.Hold();
    _queue.Notify(1, "1");
    _queue.Notify(2, "2");
    _queue.Release();
    _queue.Release();
    EXPECT_EQ(_queue.Take(), "12");
}

TEST_F(SessionOutputTests, WakesForWhatAnotherThreadPutsIntoTheEmptyQueue) {
    Notify(1, "a");
    EXPECT_EQ(_wakes, 1);
    Notify(2, "b");
    EXPECT_EQ(_wakes, 1);
    EXPECT_EQ(_queue.Take(), "ab");
    Notify(3, "c");
    EXPECT_EQ(_wakes, 2);
}

TEST_F(SessionOutputTests, DoesNotWakeTheThreadThatDrives) {
    const OutputQueue::Driving driving(_queue);
    _queue.Notify(1, "a");
    EXPECT_EQ(_wakes, 0);
    EXPECT_EQ(_queue.Take(), "a");
    Notify(2, "b");
    EXPECT_EQ(_wakes, 1);
}

TEST_F(SessionOutputTests, ExactlyTheLimitFits) {
    _queue.Append(std::string(20, 'x'));
    EXPECT_FALSE(_queue.Ended());
    EXPECT_EQ(_queue.Take().size(), 20U);
    _queue.Append("x");
    EXPECT_FALSE(_queue.Ended());
}

TEST_F(SessionOutputTests, OverTheLimitEverythingIsDropped) {
    _queue.Append(std::string(15, 'x'));
    Notify(1, "123456");
    EXPECT_EQ(_wakes, 1) << "the driver must close the connection";
    EXPECT_TRUE(_queue.Ended());
    EXPECT_EQ(_queue.EndReason(), "output queue over its limit of 20 bytes");
    EXPECT_EQ(_queue.PendingBytes(), 0U);
    _queue.Append("more");
    Notify(2, "more");
    EXPECT_EQ(_queue.Take(), "");
    EXPECT_EQ(_wakes, 1);
}

TEST_F(SessionOutputTests, WhatIsHeldCountsToo) {
    _queue.Append(std::string(10, 'x'));
    _queue.Hold();
    _queue.Notify(1, std::string(10, 'y'));
    EXPECT_FALSE(_queue.Ended());
    _queue.Notify(2, "z");
    EXPECT_TRUE(_queue.Ended());
    _queue.AppendAt(1, "get");
    EXPECT_EQ(_queue.Take(), "");
}

TEST_F(SessionOutputTests, ALimitOfNothingAllowsNothing) {
    OutputQueue queue(0, _waker);
    EXPECT_FALSE(queue.Crowded());
    queue.Append("");
    EXPECT_FALSE(queue.Ended());
    queue.Append("x");
    EXPECT_TRUE(queue.Ended());
}

TEST_F(SessionOutputTests, EndKeepsWhatWaitsAndTheFirstReason) {
    _queue.Append("bye");
    _queue.End("first");
    _queue.End("second");
    _queue.Append("late");
    EXPECT_TRUE(_queue.Ended());
    EXPECT_EQ(_queue.EndReason(), "first");
    EXPECT_EQ(_queue.Take(), "bye");
}

TEST_F(SessionOutputTests, CrowdedWhenHalfIsUsed) {
    _queue.Append(std::string(10, 'x'));
    EXPECT_FALSE(_queue.Crowded());
    _queue.Append("x");
    EXPECT_TRUE(_queue.Crowded());
    (void)_queue.Take();
    EXPECT_FALSE(_queue.Crowded());
}

TEST(SessionWakerTests, ClosedMeansNeverAgainAndNotNow) {
    std::atomic<bool> inside{false};
    std::atomic<bool> leave{false};
    std::atomic<bool> left{false};
    Waker waker([&] {
        inside = true;
        inside.notify_all();
        leave.wait(false);
        left = true;
    });
    std::thread caller([&] { waker.Call(); });
    inside.wait(false);
    std::thread closer([&] {
        waker.Close();
        EXPECT_TRUE(left);
    });
    leave = true;
    leave.notify_all();
    closer.join();
    caller.join();
    left = false;
    waker.Call();
    EXPECT_FALSE(left);
}

TEST(SessionWakerTests, AThrowingDriverHurtsNobody) {
    Waker waker([] { throw 1; });
    waker.Call();
    waker.Close();
}

}  // namespace
}  // namespace zumra::settings::server
