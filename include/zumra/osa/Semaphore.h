#pragma once

#include "zumra/Export.h"
#include "zumra/osa/Mutex.h"

namespace zumra::osa {

/// A counting semaphore with an upper limit.
///
/// Thread-safety: every operation may be called from any thread. What a thread wrote before `Release` is seen
/// by the thread whose `Lock` took that count. A thread that took the last expected count may destroy the
/// semaphore at once, also while the `Release` of another thread is still on its way out.
///
///     osa::Semaphore done("done", 128, 0);
///     ... another thread: result = ...; done.Release();
///     if (done.Lock(1000)) { use(result); }
class ZUMRA_EXPORT Semaphore {
public:
    /// `name` stands in error messages and may be null; the text is not copied and must outlive the
    /// semaphore. `limit` is the greatest count, `initial` the one to begin with. Throws
    /// `zumra::osa::Exception` "Semaphore '<name>' cannot begin with <initial> above its limit of <limit>".
    Semaphore(const char* name, unsigned short limit, unsigned short initial);
    /// No thread may be inside `Lock`, or call anything later.
    ~Semaphore();
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;

    /// Adds one to the count and wakes one waiter. Never blocks for long. When the count is at the limit, it
    /// throws `zumra::osa::Exception` "Semaphore '<name>' was released beyond its limit of <limit>" and the
    /// count stays: an event that nobody can ever wait for is never lost in silence.
    void Release();

    /// Waits until the count is positive and takes one: true. Gives up after `milliseconds` of monotonic
    /// time, which changes of the clock do not touch: false, and nothing is taken. With 0 it only tries and
    /// never waits.
    bool Lock(unsigned int milliseconds);

private:
    Mutex _mutex;
    Condition _available;
    const unsigned _limit;
    unsigned _count ZUMRA_GUARDED_BY(_mutex);
};

}  // namespace zumra::osa
