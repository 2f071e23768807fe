#pragma once

#include <cstddef>
#include <map>
#include <memory>

#include "settings/client/CallbackErrors.h"
#include "settings/client/IBackend.h"
#include "settings/client/connection/CallbackQueue.h"
#include "settings/client/connection/Connection.h"
#include "settings/client/connection/Registration.h"
#include "settings/client/connection/SubscribedEntries.h"
#include "settings/common/LeavingListeners.h"
#include "zumra/osa/Mutex.h"

namespace zumra::settings::client {

/// Who of a client is told of changes: the program's callbacks and the library's followers, over one
/// subscription with the server that covers what all of them want.
///
/// Followers are told on the thread that reads a notification, callbacks through a queue. Everyone is added
/// to the routing at the place in the stream where the reply to his subscription stands: what the server says
/// before it is older than the subscription, what it says after is news.
///
/// Thread-safety: every operation may be called from any thread.
class Subscriptions final : public INotificationSink {
public:
    using Matcher = IBackend::Matcher;

    /// `callbackLimit`: see `CallbackQueue`.
    explicit Subscriptions(std::size_t callbackLimit) : _queue(callbackLimit) {}

    // As the operations of `IBackend`; they wait for replies and call no callback.
    void Subscribe(Connection& connection, IChangeCallback* callback, const Matcher& groups);
    void UnSubscribe(Connection& connection, IChangeCallback* callback);
    void Follow(Connection& connection, IFollower* follower, const Matcher& groups);
    void Unfollow(Connection& connection, IFollower* follower);

    [[nodiscard]] CallbackQueue& Queue() noexcept { return _queue; }
    [[nodiscard]] CallbackErrors& Errors() noexcept { return *_errors; }

    void OnNotification(const std::shared_ptr<const common::Change>& change, std::size_t bytes) override;

private:
    /// What one call adds.
    struct Addition {
        const void* key = nullptr;
        bool isCallback = false;
        std::shared_ptr<Registration> registration;
        /// All that the registration has now.
        Matcher all;
    };

    void Perform(Connection& connection, Exchange& exchange, Addition& addition, const Matcher& groups);
    void Enter(Addition& addition, const Matcher& groups) ZUMRA_REQUIRES(_mutex);
    void Undo(Connection& connection, const Addition& addition, const Matcher& groups);
    bool Remove(Connection& connection, const void* key);
    void AwaitReturn(const IChangeCallback* callback);
    void Drop(Connection& connection, const Matcher& entries);

    const std::shared_ptr<CallbackErrors> _errors = std::make_shared<CallbackErrors>();
    common::ChangeRouter _followerRouter;
    common::ChangeRouter _callbackRouter;
    CallbackQueue _queue;

    /// Held while a subscription is sent, so that the server learns of changes of these tables in their
    /// order; never while a reply is awaited.
    osa::Mutex _mutex{"subscriptions"};
    SubscribedEntries _entries ZUMRA_GUARDED_BY(_mutex);
    /// By the address of the callback or follower.
    std::map<const void*, std::shared_ptr<Registration>> _registrations ZUMRA_GUARDED_BY(_mutex);
    /// For callbacks only.
    common::LeavingListeners _leaving ZUMRA_GUARDED_BY(_mutex);
};

}  // namespace zumra::settings::client
