#include "settings/client/connection/Subscriptions.h"

#include <utility>

#include "settings/client/CallbackListener.h"
#include "settings/client/commands/GetCommand.h"
#include "settings/client/commands/SilentCommands.h"
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

}  // namespace

void Subscriptions::Subscribe(Connection& connection, IChangeCallback* callback, const Matcher& groups) {
    Addition addition;
    addition.key = callback;
    addition.isCallback = true;
    addition.registration = std::make_shared<Registration>(
        _callbackRouter, std::make_shared<CallbackListener>(callback, _errors));
    ListCommand subscribe("subscribe", groups);
    Exchange exchange(subscribe);
    exchange.OnSuccess([&addition, &groups] { addition.registration->Activate(groups); });
    Perform(connection, exchange, addition, groups);
}

void Subscriptions::Follow(Connection& connection, IFollower* follower, const Matcher& groups) {
    Addition addition;
    addition.key = follower;
    addition.registration = std::make_shared<Registration>(
        _followerRouter, std::shared_ptr<common::IChangeListener>(std::shared_ptr<void>(), follower));
    ListCommand subscribe("subscribe", groups);
    GetCommand get(addition.all);
    Exchange exchange(subscribe, get);
    exchange.OnSuccess([&addition, &get, follower] {
        addition.registration->Activate(addition.all, [&] {
            follower->OnSnapshot(MoveMatching(get.Groups(), addition.all), addition.all);
        });
    });
    Perform(connection, exchange, addition, groups);
}

void Subscriptions::Perform(Connection& connection, Exchange& exchange, Addition& addition,
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
        connection.Await(exchange);
    } catch (...) {
        if (entered) {
            Undo(connection, addition, groups);
        }
        throw;
    }
}

/// The registration that is known already, if one is, takes the place of the addition's own.
void Subscriptions::Enter(Addition& addition, const Matcher& groups) {
    const auto leaving = addition.isCallback ? _leaving.Find(addition.key) : nullptr;
    if (leaving != nullptr) {
        addition.registration = std::make_shared<Registration>(_callbackRouter, leaving);
    }
    auto& known = _registrations.try_emplace(addition.key, addition.registration).first->second;
    addition.registration = known;
    _entries.Add(known->wanted.Add(groups));
    addition.all = known->wanted.All();
}

void Subscriptions::Undo(Connection& connection, const Addition& addition, const Matcher& groups) {
    Matcher unwanted;
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
    // wanted.
    Drop(connection, unwanted);
}

void Subscriptions::UnSubscribe(Connection& connection, IChangeCallback* callback) {
    if (!Remove(connection, callback)) {
        AwaitReturn(callback);
    }
}

/// For a callback that is unsubscribed already, maybe from within a call that is still running.
void Subscriptions::AwaitReturn(const IChangeCallback* callback) {
    std::shared_ptr<common::IChangeListener> leaving;
    {
        osa::MutexLock lock(_mutex);
        leaving = _leaving.Find(callback);
    }
    if (leaving != nullptr) {
        _callbackRouter.AwaitReturn(leaving.get());
    }
}

void Subscriptions::Unfollow(Connection& connection, IFollower* follower) {
    Remove(connection, follower);
}

bool Subscriptions::Remove(Connection& connection, const void* key) {
    std::shared_ptr<Registration> registration;
    Matcher wanted;
    {
        osa::MutexLock lock(_mutex);
        const auto found = _registrations.find(key);
        if (found == _registrations.end()) {
            return false;
        }
        registration = found->second;
        _leaving.Add(key, registration->Listener());
        registration->Drop();
        _registrations.erase(found);
        wanted = std::exchange(registration->wanted, {}).All();
    }
    registration->AwaitReturn();
    _queue.Bury(std::move(registration));
    Drop(connection, wanted);
    return true;
}

void Subscriptions::Drop(Connection& connection, const Matcher& entries) {
    Matcher gone;
    ListCommand unsubscribe("unsubscribe", gone);
    Exchange exchange(unsubscribe);
    try {
        {
            osa::MutexLock lock(_mutex);
            gone = _entries.Remove(entries);
            if (_entries.empty()) {
                connection.WantIdleReading(false);
            }
            if (gone.empty()) {
                return;
            }
            connection.Start(exchange);
        }
        connection.Await(exchange);
    } catch (const osa::Exception&) {
        // Whether the server hears of it makes no difference to the one who is not called any more.
    }
}

void Subscriptions::OnNotification(const std::shared_ptr<const common::Change>& change, std::size_t bytes) {
    common::ChangeRouter::Deliver(_followerRouter.Queue(change));
    auto deliveries = _callbackRouter.Prepare(change);
    if (!deliveries.empty()) {
        _queue.Push(std::move(deliveries), bytes);
    }
}

}  // namespace zumra::settings::client
