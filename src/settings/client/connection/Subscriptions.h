#pragma once

#include <cstddef>
#include <map>
#include <memory>

#include "settings/client/CallbackErrors.h"
#include "settings/client/IBackend.h"
#include "settings/client/connection/CallbackQueue.h"
#include "settings/client/connection/Connection.h"
#include "settings/client/connection/KnownGroups.h"
#include "settings/client/connection/LiveConnection.h"
#include "settings/client/connection/Registration.h"
#include "settings/client/connection/Renewal.h"
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

    /// `callbackLimit`: see `CallbackQueue`. `forLosses`: what is known of the groups is kept, so that after
    /// a loss of the connection everyone can be told what differs; subscribing then reads the groups.
    /// `mayWait`: callbacks are called by a thread that does nothing else, and that may wait for memory.
    Subscriptions(std::size_t callbackLimit, bool forLosses, bool mayWait)
        : _forLosses(forLosses), _mayWait(mayWait), _queue(callbackLimit) {}

    /// Makes a connection the one that changes are told over. Nothing is subscribed to yet.
    void Attach(const std::shared_ptr<LiveConnection>& live);
    /// As `Attach`, for a connection that nobody uses yet and that follows one that was lost: subscribes to
    /// everything that is wanted, and tells everyone what differs from what was known, all at once. Asks in
    /// parts where one request or its reply might be more than the server allows; after each time that fails
    /// in parts half as large. One thread at a time. The server has answered when this gives `kReplied`, also
    /// when nothing is wanted. Throws what the server replies.
    [[nodiscard]] ExchangeEnd Resume(const std::shared_ptr<LiveConnection>& live);

    // As the operations of `IBackend`; they wait for replies and call no callback. What did not end with a
    // reply has not been done.
    [[nodiscard]] ExchangeEnd Subscribe(Connection& connection, IChangeCallback* callback,
                                        const Matcher& groups);
    [[nodiscard]] ExchangeEnd Follow(Connection& connection, IFollower* follower, const Matcher& groups);
    void UnSubscribe(IChangeCallback* callback) noexcept;
    void Unfollow(IFollower* follower) noexcept;

    /// From now on the thread that runs the queue begins no call, and waits for nothing but one that runs.
    void EndCallbacks();
    [[nodiscard]] CallbackQueue& Queue() noexcept { return _queue; }
    [[nodiscard]] CallbackErrors& Errors() noexcept { return *_errors; }

    /// When it throws, nobody was told.
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

    [[nodiscard]] ExchangeEnd Perform(Connection& connection, Exchange& exchange, Addition& addition,
                                      const Matcher& groups);
    void Enter(Addition& addition, const Matcher& groups) ZUMRA_REQUIRES(_mutex);
    void Count(Addition& addition, const Matcher& groups) ZUMRA_REQUIRES(_mutex);
    void Undo(const Addition& addition, const Matcher& groups) noexcept;
    bool Remove(const void* key) noexcept;
    void AwaitReturn(const IChangeCallback* callback) noexcept;
    void Drop(const SubscribedEntries& entries) noexcept;
    void Withdraw(const SubscribedEntries& entries, SubscribedEntries& gone);
    [[nodiscard]] std::unique_ptr<Renewal> MakeRenewal() ZUMRA_REQUIRES(_mutex);
    void Listen();
    void TakePart(Renewal& renewal, Renewal::Part& part);
    void EndRenewal(const Renewal& renewal, bool renewed);
    [[nodiscard]] bool TakenByRenewal(const common::Change& change);
    void Reconcile(const Matcher& wanted, const common::GroupMap& current);
    void Tell(const std::shared_ptr<const common::Change>& change, std::size_t bytes);

    /// Less than what a server takes and replies by default.
    static constexpr std::size_t kLargestPart = std::size_t{8} << 20;

    const bool _forLosses;
    const bool _mayWait;
    MemoryWait _memory;
    KnownGroups _known;
    const std::shared_ptr<CallbackErrors> _errors = std::make_shared<CallbackErrors>();
    common::ChangeRouter _followerRouter;
    common::ChangeRouter _callbackRouter;
    CallbackQueue _queue;

    /// About what a connection is asked for in one part, in bytes of text. The renewing thread's own.
    std::size_t _partLimit = kLargestPart;
    osa::Mutex _renewalMutex{"renewal"};
    /// While a connection is being renewed: what is read of it goes there.
    Renewal* _renewal ZUMRA_GUARDED_BY(_renewalMutex) = nullptr;
    /// After a renewal that failed, until the next connection: what the server still says of some groups is
    /// told with what differs in the others, and not before it.
    bool _deaf ZUMRA_GUARDED_BY(_renewalMutex) = false;

    /// Held while a subscription is sent, so that the server learns of changes of these tables in their
    /// order; never while a reply is awaited.
    osa::Mutex _mutex{"subscriptions"};
    std::weak_ptr<LiveConnection> _latest ZUMRA_GUARDED_BY(_mutex);
    SubscribedEntries _entries ZUMRA_GUARDED_BY(_mutex);
    /// By the address of the callback or follower.
    std::map<const void*, std::shared_ptr<Registration>> _registrations ZUMRA_GUARDED_BY(_mutex);
    /// For callbacks only.
    common::LeavingListeners _leaving ZUMRA_GUARDED_BY(_mutex);
};

}  // namespace zumra::settings::client
