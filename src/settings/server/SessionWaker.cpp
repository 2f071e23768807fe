#include "settings/server/SessionWaker.h"

namespace zumra::settings::server {

void Waker::Call() noexcept {
    if (!_wake) {
        return;
    }
    {
        osa::MutexLock lock(_mutex);
        if (_closed) {
            return;
        }
        ++_running;
    }
    try {
        _wake();
    } catch (...) {
    }
    osa::MutexLock lock(_mutex);
    if (--_running == 0 && _closed) {
        _idle.NotifyAll();
    }
}

void Waker::Close() {
    osa::MutexLock lock(_mutex);
    _closed = true;
    while (_running > 0) {
        _idle.Wait(_mutex);
    }
}

}  // namespace zumra::settings::server
