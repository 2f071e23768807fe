#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "settings/client/CallbackListener.h"
#include "settings/client/IBackend.h"
#include "settings/client/connection/CallbackQueue.h"
#include "settings/client/connection/SubscribedEntries.h"
#include "settings/common/ChangeRouter.h"
#include "settings/common/LeavingListeners.h"
#include "zumra/osa/Mutex.h"

namespace zumra::settings::client {

/// One who is told of changes, from being known until being removed, which may happen while the server is
/// still being asked.
///
/// Thread-safety: every operation may be called from any thread.
class Registration {
public:
    using Matcher = IBackend::Matcher;

    /// `listener` is kept alive where it is held by more than a plain pointer. `key`: whose it is.
    /// `callback`: the listener, where it is one of a callback.
    Registration(common::ChangeRouter& router, std::shared_ptr<common::IChangeListener> listener,
                 const void* key, CallbackListener* callback = nullptr)
        : leavingPlace(common::LeavingListeners::MakePlace(key)),
          _router(router),
          _listener(std::move(listener)),
          _callback(callback) {}

    /// From now on the listener is told of these groups; `first`, if set, is called right before. Does
    /// nothing when removed.
    void Activate(const Matcher& groups, const std::function<void()>& first = {});
    /// After this no call of the listener begins, and `first` is not called.
    void Drop();
    /// Waits for a call of the listener that runs on another thread.
    void AwaitReturn() { _router.AwaitReturn(_listener.get()); }

    [[nodiscard]] const std::shared_ptr<common::IChangeListener>& Listener() const noexcept {
        return _listener;
    }

    /// What the calls that subscribed the listener asked for, those included whose reply is still to come:
    /// one that is refused takes back no more than its own. The owner's, under its lock.
    SubscribedEntries wanted;
    /// What removing it needs.
    common::LeavingListeners::Place leavingPlace;
    CallbackQueue::Place grave = CallbackQueue::MakePlace();

private:
    common::ChangeRouter& _router;
    const std::shared_ptr<common::IChangeListener> _listener;
    CallbackListener* const _callback;
    osa::Mutex _mutex{"registration"};
    bool _removed ZUMRA_GUARDED_BY(_mutex) = false;
};

}  // namespace zumra::settings::client
