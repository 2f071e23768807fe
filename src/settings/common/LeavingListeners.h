#pragma once

#include <iterator>
#include <map>
#include <memory>
#include <utility>

#include "settings/common/ChangeRouter.h"

namespace zumra::settings::common {

/// The listeners of callbacks that were unsubscribed, while calls of them may still be running: who
/// unsubscribes such a callback too waits for the same call, and who subscribes it anew gets the same
/// listener, so that it is still called by one thread at a time.
///
/// Thread-safety: one thread at a time.
class LeavingListeners {
    using Map = std::map<const void*, std::weak_ptr<IChangeListener>>;

public:
    /// The memory that `Add` needs: taken when a callback is subscribed, since unsubscribing cannot fail.
    using Place = Map::node_type;

    [[nodiscard]] static Place MakePlace(const void* callback) {
        Map map;
        map.try_emplace(callback);
        return map.extract(map.begin());
    }

    /// Takes the callback's place. Forgets the listeners that are gone by now.
    void Add(Place place, const std::shared_ptr<IChangeListener>& listener) noexcept {
        for (auto at = _listeners.begin(); at != _listeners.end();) {
            const bool goes = at->second.expired() || at->first == place.key();
            at = goes ? _listeners.erase(at) : std::next(at);
        }
        place.mapped() = listener;
        _listeners.insert(std::move(place));
    }
    /// The callback's listener, or null.
    [[nodiscard]] std::shared_ptr<IChangeListener> Find(const void* callback) const {
        const auto found = _listeners.find(callback);
        return found != _listeners.end() ? found->second.lock() : nullptr;
    }

private:
    Map _listeners;
};

/// A callback's listener while the callback is subscribed.
struct SubscribedListener {
    std::shared_ptr<IChangeListener> listener;
    LeavingListeners::Place place;
};

}  // namespace zumra::settings::common
