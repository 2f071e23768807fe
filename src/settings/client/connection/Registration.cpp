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

void Registration::Remove() {
    {
        osa::MutexLock lock(_mutex);
        _removed = true;
    }
    _router.Remove(_listener.get());
}

}  // namespace zumra::settings::client
