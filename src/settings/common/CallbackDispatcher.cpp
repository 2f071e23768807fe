#include "zumra/settings/common/CallbackDispatcher.h"

#include <algorithm>
#include <exception>
#include <map>
#include <thread>
#include <vector>

#include "settings/common/GroupNameIndex.h"
#include "zumra/osa/Mutex.h"

namespace zumra::settings::common {

namespace {

/// One registered subscriber. Everything in it is guarded by the dispatcher's mutex.
struct Subscriber {
    explicit Subscriber(IChangeCallback* c) : callback(c) {}

    IChangeCallback* const callback;
    GroupNameMatcher wanted;
    bool removed = false;
    std::vector<std::thread::id> callers;  ///< the threads that are calling it now

    [[nodiscard]] bool CalledByOthersOnly() const {
        return !callers.empty() &&
               std::find(callers.begin(), callers.end(), std::this_thread::get_id()) == callers.end();
    }
};

}  // namespace

struct CallbackDispatcher::State {
    using SubscriberPointer = std::shared_ptr<Subscriber>;
    using Concerned = std::map<SubscriberPointer, std::set<std::string>>;

    osa::Mutex mutex{nullptr};
    osa::Condition returned;
    std::map<IChangeCallback*, SubscriberPointer> subscribers ZUMRA_GUARDED_BY(mutex);
    GroupNameIndex<Subscriber*> index ZUMRA_GUARDED_BY(mutex);
    std::vector<SubscriberPointer> leaving ZUMRA_GUARDED_BY(mutex);  ///< removed, calls of them still running

    /// Whether a call of it that has begun before it was removed must be waited for.
    [[nodiscard]] bool CallRemains(const IChangeCallback* callback) ZUMRA_REQUIRES(mutex) {
        leaving.erase(std::remove_if(leaving.begin(), leaving.end(),
                                     [](const auto& subscriber) { return subscriber->callers.empty(); }),
                      leaving.end());
        return std::any_of(leaving.begin(), leaving.end(), [callback](const auto& subscriber) {
            return subscriber->callback == callback && subscriber->CalledByOthersOnly();
        });
    }
    void Collect(const std::string& group, Concerned& concerned) ZUMRA_REQUIRES(mutex) {
        index.ForEach(group, [&](Subscriber* subscriber) ZUMRA_NO_THREAD_SAFETY_ANALYSIS {
            concerned[subscribers.find(subscriber->callback)->second].insert(group);
        });
    }
    void Tell(const Concerned& concerned, const core::IniFile& data) ZUMRA_EXCLUDES(mutex);
    void Call(Subscriber& subscriber, const std::set<std::string>& covered, const core::IniFile& data)
        ZUMRA_EXCLUDES(mutex);
};

void CallbackDispatcher::State::Call(Subscriber& subscriber, const std::set<std::string>& covered,
                                     const core::IniFile& data) {
    {
        osa::MutexLock lock(mutex);
        if (subscriber.removed) {
            return;
        }
        subscriber.callers.push_back(std::this_thread::get_id());
    }
    std::exception_ptr failure;
    try {
        subscriber.callback->SettingsChanged(covered, data);
    } catch (...) {
        failure = std::current_exception();
    }
    {
        osa::MutexLock lock(mutex);
        auto& callers = subscriber.callers;
        callers.erase(std::find(callers.begin(), callers.end(), std::this_thread::get_id()));
        returned.NotifyAll();
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
}

void CallbackDispatcher::State::Tell(const Concerned& concerned, const core::IniFile& data) {
    std::exception_ptr failure;
    for (const auto& [subscriber, covered] : concerned) {
        try {
            Call(*subscriber, covered, data);
        } catch (...) {
            if (!failure) {
                failure = std::current_exception();
            }
        }
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
}

CallbackDispatcher::CallbackDispatcher() : _state(std::make_unique<State>()) {}

CallbackDispatcher::~CallbackDispatcher() = default;

void CallbackDispatcher::AddCallback(IChangeCallback* callback,
                                     const std::set<std::string>& namesAndPatterns) {
    AddCallback(callback, GroupNameMatcher(namesAndPatterns));
}

void CallbackDispatcher::AddCallback(IChangeCallback* callback, const GroupNameMatcher& groups) {
    osa::MutexLock lock(_state->mutex);
    const auto at = _state->subscribers.find(callback);
    const auto subscriber =
        at != _state->subscribers.end() ? at->second : std::make_shared<Subscriber>(callback);
    GroupNameMatcher fresh = groups;
    fresh.Remove(subscriber->wanted);
    try {
        _state->index.Add(fresh, subscriber.get());
        _state->subscribers.emplace(callback, subscriber);
    } catch (...) {
        _state->index.Remove(fresh, subscriber.get());
        throw;
    }
    subscriber->wanted.Add(std::move(fresh));
}

void CallbackDispatcher::RemoveCallback(IChangeCallback* callback) {
    osa::MutexLock lock(_state->mutex);
    const auto at = _state->subscribers.find(callback);
    if (at != _state->subscribers.end()) {
        const std::shared_ptr<Subscriber> subscriber = at->second;
        _state->leaving.push_back(subscriber);
        _state->index.Remove(subscriber->wanted, subscriber.get());
        _state->subscribers.erase(at);
        subscriber->removed = true;
    }
    while (_state->CallRemains(callback)) {
        _state->returned.Wait(_state->mutex);
    }
}

void CallbackDispatcher::OnChange(const core::IniFile& changed) const {
    State::Concerned concerned;
    {
        osa::MutexLock lock(_state->mutex);
        for (const auto& group : changed) {
            _state->Collect(group.first, concerned);
        }
    }
    _state->Tell(concerned, changed);
}

void CallbackDispatcher::OnChange(const std::set<std::string>& changedGroups,
                                  const core::IniFile& data) const {
    State::Concerned concerned;
    {
        osa::MutexLock lock(_state->mutex);
        for (const std::string& group : changedGroups) {
            _state->Collect(group, concerned);
        }
    }
    _state->Tell(concerned, data);
}

void CallbackDispatcher::GetAllSubscribedGroups(std::set<std::string>& namesAndPatterns) const {
    osa::MutexLock lock(_state->mutex);
    for (const auto& [callback, subscriber] : _state->subscribers) {
        namesAndPatterns.insert(subscriber->wanted.Names().begin(), subscriber->wanted.Names().end());
        namesAndPatterns.insert(subscriber->wanted.Patterns().begin(), subscriber->wanted.Patterns().end());
    }
}

}  // namespace zumra::settings::common
