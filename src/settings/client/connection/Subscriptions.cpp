#include "settings/client/connection/Subscriptions.h"

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

#include "settings/client/CallbackListener.h"
#include "settings/client/commands/GetCommand.h"
#include "settings/client/commands/SilentCommands.h"
#include "settings/client/commands/WordCommand.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings::client {

namespace {

common::GroupMap MoveMatching(core::IniFile& document, const Subscriptions::Matcher& groups) {
    common::GroupMap matching;
    for (const auto& [name, values] : document) {
        if (groups.Matches(name)) {
            matching.emplace_hint(matching.end(), name, common::SharedGroup(std::move(document[name])));
        }
    }
    return matching;
}

/// About what the change takes in memory.
std::size_t SizeOf(const common::Change& change) {
    std::size_t size = 0;
    for (const auto& [name, group] : change.groups) {
        size += KnownGroups::TextSize(name, group);
    }
    return size;
}

}  // namespace

void Subscriptions::Attach(const std::shared_ptr<LiveConnection>& live) {
    osa::MutexLock lock(_mutex);
    _latest = live;
}

ExchangeEnd Subscriptions::Resume(const std::shared_ptr<LiveConnection>& live) {
    WordCommand sync = WordCommand::Sync();
    Exchange sign(sync);
    std::unique_ptr<Renewal> renewal;
    Connection& connection = live->connection;
    {
        osa::MutexLock lock(_mutex);
        _latest = live;
        Listen();
        if (_entries.empty()) {
            connection.Start(sign);
        } else {
            renewal = MakeRenewal();
            connection.WantIdleReading(true);
            renewal->Start(connection);
        }
    }
    if (renewal == nullptr) {
        return connection.Await(sign);
    }
    try {
        const ExchangeEnd end = renewal->Await(connection);
        EndRenewal(*renewal, end == ExchangeEnd::kReplied);
        return end;
    } catch (...) {
        EndRenewal(*renewal, false);
        throw;
    }
}

/// What is read from now on goes there, until the last part was, or the renewal is ended.
std::unique_ptr<Renewal> Subscriptions::MakeRenewal() {
    auto renewal = std::make_unique<Renewal>(_entries.All());
    const auto ask = [&](const Matcher& entry, const std::string& text) {
        renewal->Ask(entry, text.size() + _known.SizeOf(entry), _partLimit);
    };
    for (const std::string& name : renewal->Wanted().Names()) {
        Matcher entry;
        entry.AddName(name);
        ask(entry, name);
    }
    for (const std::string& pattern : renewal->Wanted().Patterns()) {
        ask(Matcher(pattern), pattern);
    }
    for (Renewal::Part& part : renewal->Parts()) {
        part.exchange.OnSuccess([this, &renewal = *renewal, &part] { TakePart(renewal, part); });
    }
    osa::MutexLock lock(_renewalMutex);
    _renewal = renewal.get();
    return renewal;
}

/// The connection before has ended: what is read from now on is told.
void Subscriptions::Listen() {
    osa::MutexLock lock(_renewalMutex);
    _deaf = false;
}

void Subscriptions::TakePart(Renewal& renewal, Renewal::Part& part) {
    common::GroupMap groups = MoveMatching(part.get.Groups(), part.groups);
    {
        osa::MutexLock lock(_renewalMutex);
        if (!renewal.Put(part.groups, std::move(groups))) {
            return;
        }
    }
    Reconcile(renewal.Wanted(), renewal.Groups());
    osa::MutexLock lock(_renewalMutex);
    _renewal = nullptr;
}

void Subscriptions::EndRenewal(const Renewal& renewal, bool renewed) {
    {
        osa::MutexLock lock(_renewalMutex);
        _renewal = nullptr;
        _deaf = !renewed;
    }
    if (!renewed) {
        _partLimit = std::max<std::size_t>(std::min(_partLimit, renewal.Largest()) / 2, 1);
    }
}

/// True when this is not news for those who subscribed, who have still to be told what came before it.
bool Subscriptions::TakenByRenewal(const common::Change& change) {
    osa::MutexLock lock(_renewalMutex);
    if (_renewal != nullptr) {
        _renewal->Take(change);
    }
    return _renewal != nullptr || _deaf;
}

void Subscriptions::Reconcile(const Matcher& wanted, const common::GroupMap& current) {
    _known.KeepOnly(wanted);
    const auto difference = std::make_shared<const common::Change>(_known.DifferenceTo(current));
    if (!difference->groups.empty()) {
        Tell(difference, SizeOf(*difference));
    }
}

ExchangeEnd Subscriptions::Subscribe(Connection& connection, IChangeCallback* callback,
                                     const Matcher& groups) {
    Addition addition;
    addition.key = callback;
    addition.isCallback = true;
    const auto listener =
        std::make_shared<CallbackListener>(callback, _errors, _mayWait ? &_memory : nullptr);
    addition.registration =
        std::make_shared<Registration>(_callbackRouter, listener, callback, listener.get());
    ListCommand subscribe("subscribe", groups);
    if (!_forLosses) {
        Exchange exchange(subscribe);
        exchange.OnSuccess([&addition, &groups] { addition.registration->Activate(groups); });
        return Perform(connection, exchange, addition, groups);
    }
    GetCommand get(groups);
    Exchange exchange(subscribe, get);
    exchange.OnSuccess([&] {
        _known.Replace(groups, MoveMatching(get.Groups(), groups));
        addition.registration->Activate(groups);
    });
    return Perform(connection, exchange, addition, groups);
}

ExchangeEnd Subscriptions::Follow(Connection& connection, IFollower* follower, const Matcher& groups) {
    Addition addition;
    addition.key = follower;
    addition.registration = std::make_shared<Registration>(
        _followerRouter, std::shared_ptr<common::IChangeListener>(std::shared_ptr<void>(), follower),
        follower);
    ListCommand subscribe("subscribe", groups);
    GetCommand get(addition.all);
    Exchange exchange(subscribe, get);
    exchange.OnSuccess([&] {
        const common::GroupMap snapshot = MoveMatching(get.Groups(), addition.all);
        if (_forLosses) {
            _known.Replace(addition.all, snapshot);
        }
        addition.registration->Activate(addition.all, [&] { follower->OnSnapshot(snapshot, addition.all); });
    });
    return Perform(connection, exchange, addition, groups);
}

ExchangeEnd Subscriptions::Perform(Connection& connection, Exchange& exchange, Addition& addition,
                                   const Matcher& groups) {
    bool entered = false;
    try {
        {
            osa::MutexLock lock(_mutex);
            Enter(addition, groups);
            entered = true;
            connection.WantIdleReading(true);
            connection.Start(exchange);
        }
        const ExchangeEnd end = connection.Await(exchange);
        if (end != ExchangeEnd::kReplied) {
            Undo(addition, groups);
        }
        return end;
    } catch (...) {
        if (entered) {
            Undo(addition, groups);
        }
        throw;
    }
}

/// The registration that is known already, if one is, takes the place of the addition's own. When it throws,
/// nothing changed.
void Subscriptions::Enter(Addition& addition, const Matcher& groups) {
    const auto leaving = addition.isCallback ? _leaving.Find(addition.key) : nullptr;
    // Followers leave nothing behind that could be found.
    auto* const callback = static_cast<CallbackListener*>(leaving.get());
    if (leaving != nullptr) {
        addition.registration =
            std::make_shared<Registration>(_callbackRouter, leaving, addition.key, callback);
    }
    const auto [at, isNew] = _registrations.try_emplace(addition.key, addition.registration);
    addition.registration = at->second;
    try {
        Count(addition, groups);
    } catch (...) {
        if (isNew) {
            _registrations.erase(at);
        }
        throw;
    }
    if (isNew && callback != nullptr) {
        callback->Return();
    }
}

void Subscriptions::Count(Addition& addition, const Matcher& groups) {
    SubscribedEntries& wanted = addition.registration->wanted;
    const Matcher fresh = wanted.Add(groups);
    try {
        addition.all = wanted.All();
        _entries.Add(fresh);
    } catch (...) {
        wanted.Remove(groups);
        throw;
    }
}

void Subscriptions::Undo(const Addition& addition, const Matcher& groups) noexcept {
    SubscribedEntries unwanted;
    {
        osa::MutexLock lock(_mutex);
        const auto found = _registrations.find(addition.key);
        if (found == _registrations.end() || found->second != addition.registration) {
            return;  // was removed meanwhile, with everything
        }
        unwanted = addition.registration->wanted.Remove(groups);
        if (addition.registration->wanted.empty()) {
            _registrations.erase(found);
        }
    }
    // The server may have been asked for them by another's call, who unsubscribed while they were still
    // wanted, or over a connection that was made meanwhile.
    Drop(unwanted);
}

void Subscriptions::EndCallbacks() {
    _queue.Stop();
    _memory.End();
}

void Subscriptions::UnSubscribe(IChangeCallback* callback) noexcept {
    if (!Remove(callback)) {
        AwaitReturn(callback);
    }
}

/// For a callback that is unsubscribed already, maybe from within a call that is still running.
void Subscriptions::AwaitReturn(const IChangeCallback* callback) noexcept {
    std::shared_ptr<common::IChangeListener> leaving;
    {
        osa::MutexLock lock(_mutex);
        leaving = _leaving.Find(callback);
    }
    if (leaving != nullptr) {
        _callbackRouter.AwaitReturn(leaving.get());
    }
}

void Subscriptions::Unfollow(IFollower* follower) noexcept {
    Remove(follower);
}

bool Subscriptions::Remove(const void* key) noexcept {
    std::shared_ptr<Registration> registration;
    SubscribedEntries wanted;
    {
        osa::MutexLock lock(_mutex);
        const auto found = _registrations.find(key);
        if (found == _registrations.end()) {
            return false;
        }
        registration = found->second;
        _leaving.Add(std::move(registration->leavingPlace), registration->Listener());
        registration->Drop();
        _registrations.erase(found);
        wanted = std::exchange(registration->wanted, {});
    }
    registration->AwaitReturn();
    CallbackQueue::Place grave = std::move(registration->grave);
    _queue.Bury(std::move(registration), std::move(grave));
    Drop(wanted);
    return true;
}

/// What fails on the way to the server makes no difference to the one who is not called any more: what the
/// server tells all the same is passed over.
void Subscriptions::Drop(const SubscribedEntries& entries) noexcept {
    SubscribedEntries gone;
    try {
        Withdraw(entries, gone);
    } catch (const std::exception&) {
    }
    if (_forLosses) {
        try {
            osa::MutexLock lock(_mutex);
            _known.Forget(gone.All(), _entries);
        } catch (const std::bad_alloc&) {
            // It stays known until the connection is renewed.
        }
    }
}

/// `gone` becomes what nobody wants any more, also when this throws.
void Subscriptions::Withdraw(const SubscribedEntries& entries, SubscribedEntries& gone) {
    Matcher groups;
    ListCommand unsubscribe("unsubscribe", groups);
    Exchange exchange(unsubscribe);
    std::shared_ptr<LiveConnection> live;
    {
        osa::MutexLock lock(_mutex);
        live = _latest.lock();
        gone = _entries.Remove(entries);
        if (!live || gone.empty()) {
            return;
        }
        groups = gone.All();
        live->connection.Start(exchange);
        if (_entries.empty()) {
            // Not where the server was not asked: somebody has to read what it goes on telling.
            live->connection.WantIdleReading(false);
        }
    }
    static_cast<void>(live->connection.Await(exchange));
}

void Subscriptions::OnNotification(const std::shared_ptr<const common::Change>& change, std::size_t bytes) {
    if (!TakenByRenewal(*change)) {
        Tell(change, bytes);
    }
}

void Subscriptions::Tell(const std::shared_ptr<const common::Change>& change, std::size_t bytes) {
    // All that can fail comes first: what failed is told over the next connection, and nobody twice.
    auto deliveries = _callbackRouter.Prepare(change);
    if (!deliveries.empty()) {
        _queue.Admit(bytes);
    }
    CallbackQueue::Place place = CallbackQueue::MakePlace();
    common::GroupMap room = _forLosses ? _known.MakeRoom(*change) : common::GroupMap();
    common::ChangeRouter::Deliver(_followerRouter.Queue(change));
    if (!deliveries.empty()) {
        _queue.Push(std::move(deliveries), bytes, std::move(place));
    }
    if (_forLosses) {
        _known.Take(*change, std::move(room));
    }
}

}  // namespace zumra::settings::client
