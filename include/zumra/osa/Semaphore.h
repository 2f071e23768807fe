#pragma once

#include "zumra/Export.h"
#include "zumra/osa/Mutex.h"

namespace zumra::osa {

/// A counting semaphore with an upper limit.
class ZUMRA_EXPORT Semaphore {
public:
    Semaphore(const char* name, unsigned short limit, unsigned short initial);
    ~Semaphore();
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;

    void Release();
    bool Lock(unsigned int milliseconds);

private:
    Mutex _mutex;
    Condition _available;
    const unsigned _limit;
    unsigned _count ZUMRA_GUARDED_BY(_mutex);
};

}  // namespace zumra::osa
