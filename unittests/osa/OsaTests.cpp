#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "zumra/osa/Exception.h"
#include "zumra/osa/Mutex.h"
#include "zumra/osa/Semaphore.h"
#include "zumra/osa/Thread.h"

namespace zumra::osa {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

template <class Action>
std::string Error(Action action) {
    try {
        action();
    } catch (const Exception& error) {
        return error.what();
    }
    return "no error";
}

/// Whether another thread finds the mutex free.
bool IsFree(Mutex& mutex) {
    bool free = false;
    std::thread([&mutex, &free] {
        if (mutex.TryLock()) {
            free = true;
            mutex.Unlock();
        }
    }).join();
    return free;
}

TEST(Exception, SaysExactlyItsMessage) {
    EXPECT_STREQ("100% of 'x'\n", Exception("100% of 'x'\n").what());
    EXPECT_STREQ("", Exception("").what());
    static_assert(std::is_base_of_v<std::exception, Exception>);
    static_assert(std::is_nothrow_copy_constructible_v<Exception>);
}

TEST(Thread, SleepsAtLeastAsLongAsAsked) {
    const auto start = Clock::now();
    Thread::CurrentThread::Sleep(20);
    EXPECT_GE(Clock::now() - start, milliseconds(20));
}

TEST(Mutex, KeepsItsName) {
    EXPECT_STREQ("table", Mutex("table").Name());
    EXPECT_EQ(nullptr, Mutex().Name());
}

TEST(Mutex, TryLockTakesOnlyWhatIsFree) {
    Mutex mutex;
    EXPECT_TRUE(IsFree(mutex));
    {
        MutexLock lock(mutex);
        EXPECT_FALSE(IsFree(mutex));
    }
    EXPECT_TRUE(IsFree(mutex));
}

TEST(Mutex, LetsOneThreadInAtATime) {
    Mutex mutex;
    int count = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j < 10000; ++j) {
                MutexLock lock(mutex);
                ++count;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(40000, count);
}

TEST(Condition, WakesAllWaiters) {
    Mutex mutex;
    Condition changed;
    Condition arrived;
    int waiting = 0;
    bool go = false;
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            MutexLock lock(mutex);
            ++waiting;
            arrived.NotifyOne();
            while (!go) {
                changed.Wait(mutex);
            }
        });
    }
    {
        MutexLock lock(mutex);
        while (waiting < 3) {
            arrived.Wait(mutex);
        }
        go = true;
        changed.NotifyAll();
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(Condition, WaitUntilEndsAtTheDeadlineAndHoldsTheMutex) {
    Mutex mutex;
    Condition never;
    const auto deadline = Clock::now() + milliseconds(20);
    MutexLock lock(mutex);
    while (never.WaitUntil(mutex, deadline)) {
    }
    EXPECT_GE(Clock::now(), deadline);
    EXPECT_FALSE(IsFree(mutex));
}

TEST(Condition, WaitUntilSeesWhatWasDoneBeforeTheNotification) {
    Mutex mutex;
    Condition changed;
    bool done = false;
    int result = 0;
    std::thread thread([&] {
        MutexLock lock(mutex);
        result = 42;
        done = true;
        changed.NotifyOne();
    });
    {
        MutexLock lock(mutex);
        while (!done) {
            changed.WaitUntil(mutex, Clock::now() + std::chrono::hours(1));
        }
        EXPECT_EQ(42, result);
    }
    thread.join();
}

TEST(Semaphore, GivesWhatWasReleased) {
    Semaphore semaphore("s", 3, 1);
    EXPECT_TRUE(semaphore.Lock(0));
    EXPECT_FALSE(semaphore.Lock(0));
    semaphore.Release();
    semaphore.Release();
    EXPECT_TRUE(semaphore.Lock(0));
    EXPECT_TRUE(semaphore.Lock(1000));
    EXPECT_FALSE(semaphore.Lock(0));
}

TEST(Semaphore, ReleaseBeyondTheLimitThrowsAndLeavesTheCount) {
    Semaphore semaphore("subs", 2, 1);
    semaphore.Release();
    EXPECT_EQ("Semaphore 'subs' was released beyond its limit of 2", Error([&] { semaphore.Release(); }));
    EXPECT_TRUE(semaphore.Lock(0));
    EXPECT_TRUE(semaphore.Lock(0));
    EXPECT_FALSE(semaphore.Lock(0));
    semaphore.Release();
    EXPECT_TRUE(semaphore.Lock(0));
}

TEST(Semaphore, CountsToTheGreatestLimit) {
    Semaphore semaphore(nullptr, 65535, 65534);
    semaphore.Release();
    EXPECT_EQ("Semaphore '' was released beyond its limit of 65535", Error([&] { semaphore.Release(); }));
}

TEST(Semaphore, CannotBeginAboveItsLimit) {
    EXPECT_EQ("Semaphore 's' cannot begin with 2 above its limit of 1", Error([] { Semaphore("s", 1, 2); }));
    EXPECT_EQ("no error", Error([] { Semaphore("s", 0, 0); }));
}

TEST(Semaphore, GivesUpAfterItsTime) {
    Semaphore semaphore("s", 1, 0);
    const auto start = Clock::now();
    EXPECT_FALSE(semaphore.Lock(20));
    EXPECT_GE(Clock::now() - start, milliseconds(20));
}

TEST(Semaphore, HandsOverWhatWasWrittenBeforeTheRelease) {
    Semaphore semaphore("s", 1, 0);
    int result = 0;
    std::thread thread([&] {
        result = 42;
        semaphore.Release();
    });
    EXPECT_TRUE(semaphore.Lock(60000));
    EXPECT_EQ(42, result);
    thread.join();
}

TEST(Semaphore, LosesNoneAmongManyThreads) {
    constexpr int kEach = 5000;
    Semaphore semaphore("s", 4 * kEach, 0);
    std::atomic<int> taken = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j < kEach; ++j) {
                semaphore.Release();
            }
        });
        threads.emplace_back([&] {
            for (int j = 0; j < kEach; ++j) {
                taken += semaphore.Lock(60000) ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(4 * kEach, taken);
    EXPECT_FALSE(semaphore.Lock(0));
}

TEST(Semaphore, MayBeDestroyedByWhomeverItWokeUp) {
    for (int i = 0; i < 2000; ++i) {
        auto semaphore = std::make_unique<Semaphore>("s", 1, 0);
        std::thread thread([released = semaphore.get()] { released->Release(); });
        EXPECT_TRUE(semaphore->Lock(60000));
        semaphore.reset();
        thread.join();
    }
}

}  // namespace
}  // namespace zumra::osa
