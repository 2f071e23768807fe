#include "settings/client/ChangeQueue.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <future>
#include <random>
#include <string>
#include <thread>

#include "client/FakeBackend.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings::client {
namespace {

using std::chrono::milliseconds;
using Matcher = IBackend::Matcher;

constexpr milliseconds kNever(60000);  // fails a test that should not have waited

core::IniFile OneValue(const std::string& group, const std::string& value) {
    core::IniFile document;
    document[group]["value"] = value;
    return document;
}

bool Readable(int descriptor) {
    pollfd entry{descriptor, POLLIN, 0};
    return ::poll(&entry, 1, 0) == 1 && (entry.revents & POLLIN) != 0;
}

/// What a watcher does with what it takes.
void Apply(const Arrivals& news, core::IniFile& document) {
    if (news.whole) {
        document.Clear();
    }
    for (const auto& [name, group] : news.groups) {
        if (group) {
            document.SetGroup(name, *group);
        } else {
            document.EraseGroup(name);
        }
    }
}

class ChangeQueueTests : public testing::Test {
protected:
    void Start(const std::string& pattern) {
        _queue.Want(Matcher(pattern));
        _queue.FollowWanted();
        static_cast<void>(_queue.Take());
    }

    FakeBackend _backend;
    ChangeQueue _queue{_backend};
};

TEST_F(ChangeQueueTests, AsksNothingBeforeItIsStarted) {
    _backend.onCall = [](const std::string& operation) { ADD_FAILURE() << operation; };
    _queue.Want(Matcher("*"));
    EXPECT_FALSE(_queue.Started());
    EXPECT_EQ(_backend.FollowerCount(), 0u);
}

TEST_F(ChangeQueueTests, BeginsWithSomethingToTake) {
    EXPECT_TRUE(_queue.Wait(kNever));
    EXPECT_TRUE(Readable(_queue.FileDescriptor()));
    const Arrivals first = _queue.Take();
    EXPECT_TRUE(first.any);
    EXPECT_FALSE(first.whole);
    EXPECT_FALSE(_queue.Take().any);
    EXPECT_FALSE(Readable(_queue.FileDescriptor()));
}

TEST_F(ChangeQueueTests, GivesEverythingFirstAndThenWhatChanged) {
    _backend.Merge(OneValue("a", "1"));
    _backend.Merge(OneValue("other", "1"));
    _queue.Want(Matcher("a*"));
    _queue.FollowWanted();
    const Arrivals first = _queue.Take();
    EXPECT_TRUE(first.whole);
    EXPECT_EQ(first.groups.size(), 1u);
    EXPECT_TRUE(first.scope.Matches("ab"));
    EXPECT_FALSE(first.scope.Matches("other"));

    _backend.Merge(OneValue("ab", "2"));
    _backend.Merge(OneValue("other", "2"));
    const Arrivals second = _queue.Take();
    EXPECT_TRUE(second.any);
    EXPECT_FALSE(second.whole);
    ASSERT_EQ(second.groups.size(), 1u);
    EXPECT_EQ(second.groups.at("ab")->at("value"), "2");
}

TEST_F(ChangeQueueTests, StartsWithoutGroupsWhenNoneIsWanted) {
    _queue.FollowWanted();
    EXPECT_TRUE(_queue.Started());
    EXPECT_EQ(_backend.FollowerCount(), 0u);
    EXPECT_TRUE(_queue.Take().whole);
}

TEST_F(ChangeQueueTests, FollowsAtOnceWhatIsWantedLater) {
    _backend.Merge(OneValue("b", "1"));
    Start("a");
    _queue.Want(Matcher("b"));
    const Arrivals news = _queue.Take();
    EXPECT_TRUE(news.whole);
    EXPECT_EQ(news.groups.count("b"), 1u);
    _queue.Want(Matcher("b"));
    EXPECT_FALSE(_queue.Take().any) << "wanted already";
}

TEST_F(ChangeQueueTests, KeepsOnlyTheLastChangeOfAGroup) {
    Start("*");
    _backend.Merge(OneValue("a", "1"));
    _backend.Merge(OneValue("b", "1"));
    _backend.Merge(OneValue("a", "2"));
    const Arrivals news = _queue.Take();
    ASSERT_EQ(news.groups.size(), 2u);
    EXPECT_EQ(news.groups.at("a")->at("value"), "2");
    EXPECT_EQ(news.groups.at("b")->at("value"), "1");
}

TEST_F(ChangeQueueTests, TellsOfTheRemovalOfAGroupThatWasGiven) {
    _backend.Merge(OneValue("a", "1"));
    Start("*");
    _backend.Erase(Matcher("a"));
    const Arrivals news = _queue.Take();
    ASSERT_EQ(news.groups.count("a"), 1u);
    EXPECT_FALSE(news.groups.at("a"));
    EXPECT_FALSE(_queue.Take().any);
}

TEST_F(ChangeQueueTests, KeepsNothingOfGroupsThatCameAndWentUnseen) {
    Start("*");
    for (int i = 0; i < 10000; ++i) {
        const std::string name = "group" + std::to_string(i);
        _backend.Merge(OneValue(name, "1"));
        _backend.Erase(Matcher(name));
    }
    const Arrivals news = _queue.Take();
    EXPECT_TRUE(news.any);
    EXPECT_TRUE(news.groups.empty());
}

TEST_F(ChangeQueueTests, ForgetsGroupsOnceTheTakerKnowsThatTheyAreGone) {
    _backend.Merge(OneValue("a", "1"));
    Start("*");
    _backend.Erase(Matcher("a"));
    static_cast<void>(_queue.Take());
    _backend.Merge(OneValue("a", "1"));
    _backend.Erase(Matcher("a"));
    EXPECT_TRUE(_queue.Take().groups.empty());

    _backend.Merge(OneValue("b", "1"));
    static_cast<void>(_queue.Take());
    _backend.Reconnect({});
    static_cast<void>(_queue.Take());
    _backend.Merge(OneValue("b", "1"));
    _backend.Erase(Matcher("b"));
    EXPECT_TRUE(_queue.Take().groups.empty());
}

TEST_F(ChangeQueueTests, LeavesAGivenGroupOutOfAPendingSnapshotToo) {
    _backend.Merge(OneValue("a", "1"));
    Start("*");
    _backend.Reconnect(OneValue("a", "1"));
    _backend.Erase(Matcher("a"));
    const Arrivals news = _queue.Take();
    EXPECT_TRUE(news.whole);
    EXPECT_TRUE(news.groups.empty());
}

TEST_F(ChangeQueueTests, LeavesARemovedGroupOutOfAPendingSnapshot) {
    _backend.Merge(OneValue("a", "1"));
    _queue.Want(Matcher("*"));
    _queue.FollowWanted();
    _backend.Erase(Matcher("a"));
    const Arrivals news = _queue.Take();
    EXPECT_TRUE(news.whole);
    EXPECT_TRUE(news.groups.empty());
}

TEST_F(ChangeQueueTests, TakesALaterSnapshotForAllThatThereIs) {
    _backend.Merge(OneValue("a", "1"));
    Start("*");
    _backend.Merge(OneValue("b", "1"));
    _backend.Reconnect(OneValue("c", "1"));
    const Arrivals news = _queue.Take();
    EXPECT_TRUE(news.any);
    EXPECT_TRUE(news.whole);
    ASSERT_EQ(news.groups.size(), 1u);
    EXPECT_EQ(news.groups.count("c"), 1u);
}

TEST_F(ChangeQueueTests, DoesNotTakeASnapshotForMoreThanWasAskedFor) {
    _backend.Merge(OneValue("b", "1"));
    Start("a");
    _backend.Reconnect(OneValue("b", "1"));
    _backend.onCall = [](const std::string&) { throw osa::Exception("no server"); };
    EXPECT_THROW(_queue.Want(Matcher("b")), osa::Exception);
    const Arrivals news = _queue.Take();
    EXPECT_TRUE(news.whole);
    EXPECT_TRUE(news.scope.Matches("a"));
    EXPECT_FALSE(news.scope.Matches("b")) << "nothing is known of it";
}

TEST_F(ChangeQueueTests, TriesAgainWhatCouldNotBeFollowed) {
    _backend.Merge(OneValue("b", "1"));
    Start("a");
    _backend.onCall = [](const std::string&) { throw osa::Exception("no server"); };
    EXPECT_THROW(_queue.Want(Matcher("b")), osa::Exception);
    EXPECT_TRUE(_queue.Started());
    EXPECT_FALSE(_queue.FollowsAllWanted());
    EXPECT_THROW(_queue.FollowWanted(), osa::Exception);
    _backend.onCall = nullptr;
    _queue.FollowWanted();
    EXPECT_TRUE(_queue.FollowsAllWanted());
    EXPECT_EQ(_queue.Take().groups.count("b"), 1u);
}

TEST_F(ChangeQueueTests, FollowsWhatIsWantedWhileItAsks) {
    _backend.Merge(OneValue("b", "1"));
    _queue.Want(Matcher("a"));
    _backend.onCall = [this](const std::string&) {
        _backend.onCall = nullptr;
        _queue.Want(Matcher("b"));
    };
    _queue.FollowWanted();
    EXPECT_TRUE(_queue.FollowsAllWanted());
    EXPECT_EQ(_queue.Take().groups.count("b"), 1u);
}

TEST_F(ChangeQueueTests, StopsFollowingWhenDestroyed) {
    {
        ChangeQueue queue(_backend);
        queue.Want(Matcher("*"));
        queue.FollowWanted();
        EXPECT_EQ(_backend.FollowerCount(), 1u);
    }
    EXPECT_EQ(_backend.FollowerCount(), 0u);
    _backend.Merge(OneValue("a", "1"));
}

TEST_F(ChangeQueueTests, IsReadableFromAChangeUntilItIsTaken) {
    Start("a");
    EXPECT_FALSE(Readable(_queue.FileDescriptor()));
    _backend.Merge(OneValue("b", "1"));
    EXPECT_FALSE(Readable(_queue.FileDescriptor()));
    _backend.Merge(OneValue("a", "1"));
    EXPECT_TRUE(Readable(_queue.FileDescriptor()));
    EXPECT_TRUE(_queue.Wait(milliseconds(0)));
    _backend.Merge(OneValue("a", "2"));
    static_cast<void>(_queue.Take());
    EXPECT_FALSE(Readable(_queue.FileDescriptor()));
    EXPECT_FALSE(_queue.Wait(milliseconds(0)));
    EXPECT_FALSE(_queue.Wait(milliseconds(-5)));
    _queue.Mark();
    EXPECT_TRUE(Readable(_queue.FileDescriptor()));
    EXPECT_TRUE(_queue.Take().any);
}

TEST_F(ChangeQueueTests, WaitsAtLeastTheTimeGiven) {
    Start("a");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(_queue.Wait(milliseconds(20)));
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(20));
}

std::atomic<int> signalsTaken{0};

TEST_F(ChangeQueueTests, WaitsOnWhenASignalComes) {
    struct sigaction ignored {};
    struct sigaction count {};
    count.sa_handler = [](int) { ++signalsTaken; };
    ASSERT_EQ(::sigaction(SIGUSR1, &count, &ignored), 0);
    Start("a");
    std::promise<pthread_t> waiting;
    auto waiter = std::async(std::launch::async, [this, &waiting] {
        waiting.set_value(::pthread_self());
        return _queue.Wait(kNever);
    });
    const pthread_t thread = waiting.get_future().get();
    const auto waits = [&waiter] { return waiter.wait_for(milliseconds(0)) == std::future_status::timeout; };
    for (int sent = 1; sent <= 100 && waits(); ++sent) {
        ASSERT_EQ(::pthread_kill(thread, SIGUSR1), 0);
        while (signalsTaken < sent && waits()) {
            std::this_thread::yield();
        }
    }
    EXPECT_TRUE(waits());
    _backend.Merge(OneValue("a", "1"));
    EXPECT_TRUE(waiter.get());
    ::sigaction(SIGUSR1, &ignored, nullptr);
}

TEST_F(ChangeQueueTests, WakesEveryoneWhoWaits) {
    Start("a");
    auto one = std::async(std::launch::async, [this] { return _queue.Wait(milliseconds::max()); });
    auto other = std::async(std::launch::async, [this] { return _queue.Wait(kNever); });
    _backend.Merge(OneValue("a", "1"));
    EXPECT_TRUE(one.get());
    EXPECT_TRUE(other.get());
}

TEST_F(ChangeQueueTests, AnyMixOfChangesAndTakesEndsAsTheStore) {
    std::mt19937 random(1);
    const auto below = [&random](unsigned limit) { return random() % limit; };
    Start("*");
    core::IniFile document;
    for (int step = 0; step < 20000; ++step) {
        const std::string name = "group" + std::to_string(below(6));
        switch (below(8)) {
            case 0:
            case 1:
                _backend.Erase(Matcher(below(20) == 0 ? "*" : name));
                break;
            case 2:
                Apply(_queue.Take(), document);
                ASSERT_EQ(document, _backend.Store()) << step;
                break;
            case 3:
                if (below(10) == 0) {
                    _backend.Reconnect(OneValue(name, "reconnected"));
                }
                break;
            default:
                _backend.Merge(OneValue(name, std::to_string(below(3))));
        }
    }
}

}  // namespace
}  // namespace zumra::settings::client
