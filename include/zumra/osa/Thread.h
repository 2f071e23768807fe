#pragma once

#include "zumra/Export.h"

namespace zumra::osa {

/// What a thread can do about itself; there are no objects of it.
///
///     osa::Thread::CurrentThread::Sleep(100);
class ZUMRA_EXPORT Thread {
public:
    Thread() = delete;
    /// Thread-safety: concerns the calling thread alone.
    class ZUMRA_EXPORT CurrentThread {
    public:
        CurrentThread() = delete;
        /// Pauses the calling thread for at least this many milliseconds of monotonic time.
        static void Sleep(unsigned int milliseconds);
    };
};

}  // namespace zumra::osa
