#pragma once

#include <map>
#include <memory>

#include "settings/common/ChangeRouter.h"

namespace zumra::settings::common {

/// The listeners of callbacks that were unsubscribed, while calls of them may still be running: who
/// unsubscribes such a callback too waits for the same call, and who subscribes it anew gets the same
/// listener, so that it is still called by one thread at a time.
///
/// Thread-safety: one thread at a time.
class LeavingListeners {
public:
    /// Forgets the listeners that are gone by now.
    void Add(const void* callback, const std::shared_ptr<IChangeListener>& listener) {
        for (auto at = _listeners.begin(); at != _listeners.end();) {
            at = at->second.expired() ? _listeners.erase(at) : std::next(at);
        }
        _listeners[callback] = listener;
    }
    /// The callback's listener, or null.
    [[nodiscard]] std::shared_ptr<IChangeListener> Find(const void* callback) const {
        const auto found = _listeners.find(callback);
        return found != _listeners.end() ? found->second.lock() : nullptr;
    }

private:
    std::map<const void*, std::weak_ptr<IChangeListener>> _listeners;
};

}  // namespace zumra::settings::common
