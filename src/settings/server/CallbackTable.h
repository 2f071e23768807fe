#pragma once

#include <map>
#include <memory>

#include "settings/common/ChangeRouter.h"
#include "settings/common/LeavingListeners.h"
#include "zumra/osa/Mutex.h"
#include "zumra/settings/IChangeCallback.h"

namespace zumra::settings::server {

/// The subscribers of a store's users, each behind a listener of the store's router.
///
/// Thread-safety: every operation may be called from any thread, also from within a subscriber.
class CallbackTable {
public:
    explicit CallbackTable(common::ChangeRouter& router) : _router(router) {}
    CallbackTable(const CallbackTable&) = delete;
    CallbackTable& operator=(const CallbackTable&) = delete;

    void Subscribe(IChangeCallback* callback, const common::GroupNameMatcher& groups);
    void UnSubscribe(IChangeCallback* callback);

private:
    class Listener;

    common::ChangeRouter& _router;
    osa::Mutex _mutex{"subscribers"};
    std::map<IChangeCallback*, common::SubscribedListener> _listeners ZUMRA_GUARDED_BY(_mutex);
    common::LeavingListeners _leaving ZUMRA_GUARDED_BY(_mutex);
};

}  // namespace zumra::settings::server
