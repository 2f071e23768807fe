#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "zumra/osa/ThreadAnnotations.h"

namespace zumra::osa {

/// A mutual exclusion lock that clang's thread-safety analysis understands. Not recursive.
///
/// Thread-safety: every operation may be called from any thread; `Unlock` only from the thread that holds it.
/// Costs what a `std::mutex` costs. Prefer the scoped `MutexLock` to calling `Lock` and `Unlock`.
///
///     mutable osa::Mutex _mutex{"table"};
///     int _count ZUMRA_GUARDED_BY(_mutex) = 0;
///     ...
///     osa::MutexLock lock(_mutex);
///     ++_count;
class ZUMRA_CAPABILITY("mutex") Mutex {
public:
    /// `name` helps a person in a debugger and may be null; the text is not copied and must outlive the
    /// mutex.
    explicit Mutex(const char* name = nullptr) noexcept : _name(name) {}
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    /// Blocks until the lock is free.
    void Lock() ZUMRA_ACQUIRE() { _native.lock(); }
    void Unlock() ZUMRA_RELEASE() { _native.unlock(); }
    /// Takes the lock if it is free; never blocks.
    [[nodiscard]] bool TryLock() ZUMRA_TRY_ACQUIRE(true) { return _native.try_lock(); }

    /// The name given to the constructor; null when none was.
    [[nodiscard]] const char* Name() const noexcept { return _name; }

private:
    friend class Condition;
    std::mutex _native;
    const char* _name;
};

/// Holds a mutex for the length of a block.
class ZUMRA_SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) ZUMRA_ACQUIRE(mutex) : _mutex(mutex) { _mutex.Lock(); }
    ~MutexLock() ZUMRA_RELEASE() { _mutex.Unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& _mutex;
};

/// Lets threads that hold a mutex wait until another thread says that something changed. Waits may end
/// without a notification: always wait in a loop that looks at the condition itself.
///
/// Thread-safety: every operation may be called from any thread; all waiters of one condition at a time use
/// the same mutex. Notify under the mutex when a waiter may destroy the condition as soon as it has what it
/// waited for.
///
///     osa::MutexLock lock(_mutex);
///     while (_queue.empty()) {
///         _changed.Wait(_mutex);
///     }
class Condition {
public:
    Condition() = default;
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;

    /// Releases `mutex`, waits for a notification, and takes the mutex again.
    void Wait(Mutex& mutex) ZUMRA_REQUIRES(mutex) {
        std::unique_lock<std::mutex> lock(mutex._native, std::adopt_lock);
        _native.wait(lock);
        lock.release();
    }

    /// As `Wait`, until `deadline` at the latest; false when the deadline passed. Use deadlines of
    /// `std::chrono::steady_clock`, which changes of the system's time do not touch.
    template <class Clock, class Duration>
    bool WaitUntil(Mutex& mutex, const std::chrono::time_point<Clock, Duration>& deadline)
        ZUMRA_REQUIRES(mutex) {
        std::unique_lock<std::mutex> lock(mutex._native, std::adopt_lock);
        const bool notified = _native.wait_until(lock, deadline) == std::cv_status::no_timeout;
        lock.release();
        return notified;
    }

    void NotifyOne() noexcept { _native.notify_one(); }
    void NotifyAll() noexcept { _native.notify_all(); }

private:
    std::condition_variable _native;
};

}  // namespace zumra::osa
