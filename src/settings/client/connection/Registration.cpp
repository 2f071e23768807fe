#include "settings/client/connection/Registration.h"

namespace zumra::settings::client {

void Registration::Activate(const Matcher& groups, const std::function<void()>& first) {
    osa::MutexLock lock(_mutex);
    if (_removed) {
        return;
    }
    if (first) {
        first();
    }
    _router.Add(_listener.get(), groups);
}

void Registration::Drop() {
    osa::MutexLock lock(_mutex);
    _removed = true;
    _router.Drop(_listener.get());
    if (_callback != nullptr) {
        _callback->Leave();
    }
}

}  // namespace zumra::settings::client
