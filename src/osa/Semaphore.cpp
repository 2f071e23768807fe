#include "zumra/osa/Semaphore.h"

#include <chrono>
#include <string>

#include "zumra/osa/Exception.h"

namespace zumra::osa {
namespace {

std::string Named(const char* name) {
    return std::string("Semaphore '") + (name != nullptr ? name : "") + "'";
}

}  // namespace

Semaphore::Semaphore(const char* name, unsigned short limit, unsigned short initial)
    : _mutex(name), _limit(limit), _count(initial) {
    if (initial > limit) {
        throw Exception(Named(name) + " cannot begin with " + std::to_string(initial) +
                        " above its limit of " + std::to_string(limit));
    }
}

Semaphore::~Semaphore() = default;

void Semaphore::Release() {
    MutexLock lock(_mutex);
    if (_count == _limit) {
        throw Exception(Named(_mutex.Name()) + " was released beyond its limit of " + std::to_string(_limit));
    }
    ++_count;
    // Under the lock: whoever takes the count may destroy the semaphore as soon as the lock is free.
    _available.NotifyOne();
}

bool Semaphore::Lock(unsigned int milliseconds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    MutexLock lock(_mutex);
    while (_count == 0 && _available.WaitUntil(_mutex, deadline)) {
    }
    if (_count == 0) {
        return false;
    }
    --_count;
    return true;
}

}  // namespace zumra::osa
