#pragma once

#include "zumra/Export.h"

namespace zumra::osa {

class ZUMRA_EXPORT Thread {
public:
    Thread() = delete;
    class ZUMRA_EXPORT CurrentThread {
    public:
        CurrentThread() = delete;
        /// Pauses the calling thread for at least this many milliseconds of monotonic time.
        static void Sleep(unsigned int milliseconds);
    };
};

}  // namespace zumra::osa
