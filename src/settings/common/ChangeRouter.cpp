#include "settings/common/ChangeRouter.h"

#include <atomic>
#include <exception>
#include <map>
#include <thread>
#include <utility>

#include "settings/common/GroupNameIndex.h"
#include "zumra/osa/Mutex.h"

namespace zumra::settings::common {

struct ChangeRouter::Entry : std::enable_shared_from_this<Entry> {
    Entry(IChangeListener* l, std::weak_ptr<State> s) : listener(l), state(std::move(s)) {}

    IChangeListener* const listener;
    const std::weak_ptr<State> state;

    GroupNameMatcher wanted;          // guarded by the router's mutex
    GroupNameMatcher::Extent extent;  // of `wanted`
    std::list<Delivery::Item> draft;  // guarded by the router's mutex; filled only within one Prepare
    std::uint64_t stay = 0;           // changes under both mutexes; raised when the listener is removed

    osa::Mutex mutex{"listener"};  // taken after the router's mutex, never before it
    osa::Condition returned;
    /// False from the moment the listener was removed; an entry whose own call removes it stays known until
    /// the call returns, so that one who comes back meanwhile is still called by one thread at a time.
    bool active ZUMRA_GUARDED_BY(mutex) = true;
    std::list<Delivery::Item> queue ZUMRA_GUARDED_BY(mutex);  ///< empty while not active
    bool inCall ZUMRA_GUARDED_BY(mutex) = false;
    std::thread::id caller ZUMRA_GUARDED_BY(mutex);
    std::uint64_t callsDone ZUMRA_GUARDED_BY(mutex) = 0;
};

struct ChangeRouter::State {
    using EntryPointer = std::shared_ptr<Entry>;

    osa::Mutex mutex{"change router"};
    std::map<const IChangeListener*, EntryPointer> entries ZUMRA_GUARDED_BY(mutex);
    GroupNameIndex<Entry*> index ZUMRA_GUARDED_BY(mutex);
    std::atomic<std::size_t> count{0};

    EntryPointer Find(const IChangeListener* listener) const ZUMRA_REQUIRES(mutex) {
        const auto at = entries.find(listener);
        return at == entries.end() ? nullptr : at->second;
    }
    void Forget(const EntryPointer& entry) ZUMRA_REQUIRES(mutex) {
        const auto at = entries.find(entry->listener);
        if (at != entries.end() && at->second == entry) {
            entries.erase(at);
        }
    }
};

namespace {

using Entry = ChangeRouter::Entry;

void Enlarge(GroupNameMatcher::Extent& extent, const GroupNameMatcher::Extent& added) noexcept {
    extent.entries += added.entries;
    extent.bytes += added.bytes;
}

void Reduce(GroupNameMatcher::Extent& extent, const GroupNameMatcher::Extent& removed) noexcept {
    extent.entries -= removed.entries;
    extent.bytes -= removed.bytes;
}

/// Waits until the call that runs now on another thread, if any, has returned.
void AwaitCall(Entry& entry) ZUMRA_REQUIRES(entry.mutex) {
    if (entry.caller == std::this_thread::get_id()) {
        return;
    }
    const std::uint64_t seen = entry.callsDone;
    while (entry.inCall && entry.callsDone == seen) {
        entry.returned.Wait(entry.mutex);
    }
}

/// Calls the listener with what is queued for it, unless someone is doing that already. True when the
/// listener was removed meanwhile.
bool Drain(Entry& entry, std::exception_ptr& failure) {
    std::list<ChangeRouter::Delivery::Item> current;
    entry.mutex.Lock();
    if (entry.inCall) {
        entry.mutex.Unlock();
        return false;
    }
    entry.caller = std::this_thread::get_id();
    while (!entry.queue.empty()) {
        current.splice(current.begin(), entry.queue, entry.queue.begin());
        entry.inCall = true;
        entry.mutex.Unlock();
        try {
            entry.listener->OnChange(current.front().change, current.front().covered);
        } catch (...) {
            if (!failure) {
                failure = std::current_exception();
            }
        }
        current.clear();
        entry.mutex.Lock();
        ++entry.callsDone;
        entry.returned.NotifyAll();
    }
    entry.inCall = false;
    entry.caller = {};
    const bool removed = !entry.active;
    entry.mutex.Unlock();
    return removed;
}

/// Waits until the calls that were due when `callsDone` was to become `due` were made by another thread, if
/// one is making them. True when there is nothing more to wait for.
bool AwaitTold(Entry& entry, std::uint64_t due) {
    osa::MutexLock lock(entry.mutex);
    if (entry.caller == std::this_thread::get_id()) {
        return true;
    }
    while (entry.inCall && entry.callsDone < due) {
        entry.returned.Wait(entry.mutex);
    }
    return entry.callsDone >= due || entry.queue.empty() || !entry.active;
}

}  // namespace

ChangeRouter::ChangeRouter() : _state(std::make_shared<State>()) {}

ChangeRouter::~ChangeRouter() = default;

void ChangeRouter::Add(IChangeListener* listener, GroupNameMatcher groups) {
    State& state = *_state;
    osa::MutexLock lock(state.mutex);
    std::shared_ptr<Entry> entry = state.Find(listener);
    const bool isNew = entry == nullptr;
    if (isNew) {
        entry = std::make_shared<Entry>(listener, _state);
    }
    groups.Remove(entry->wanted);
    try {
        state.index.Add(groups, entry.get());
        state.entries.emplace(listener, entry);
    } catch (...) {
        state.index.Remove(groups, entry.get());
        throw;
    }
    Enlarge(entry->extent, groups.GetExtent());
    entry->wanted.Add(std::move(groups));
    osa::MutexLock entryLock(entry->mutex);
    if (isNew || !entry->active) {
        entry->active = true;
        state.count.fetch_add(1, std::memory_order_relaxed);
    }
}

void ChangeRouter::Remove(IChangeListener* listener, const GroupNameMatcher& groups) {
    State& state = *_state;
    osa::MutexLock lock(state.mutex);
    const std::shared_ptr<Entry> entry = state.Find(listener);
    if (entry == nullptr) {
        return;
    }
    state.index.Remove(groups, entry.get());
    Reduce(entry->extent, entry->wanted.Remove(groups));
}

void ChangeRouter::Remove(IChangeListener* listener) {
    Drop(listener);
    AwaitReturn(listener);
}

void ChangeRouter::Drop(IChangeListener* listener) {
    State& state = *_state;
    std::list<Delivery::Item> dropped;
    osa::MutexLock lock(state.mutex);
    const std::shared_ptr<Entry> entry = state.Find(listener);
    if (entry == nullptr) {
        return;
    }
    state.index.Remove(entry->wanted, entry.get());
    entry->wanted = GroupNameMatcher();
    entry->extent = {};
    osa::MutexLock entryLock(entry->mutex);
    if (entry->active) {
        entry->active = false;
        state.count.fetch_sub(1, std::memory_order_relaxed);
    }
    ++entry->stay;
    dropped.swap(entry->queue);
    if (!entry->inCall) {
        state.Forget(entry);  // otherwise the one who calls it does so
    }
}

void ChangeRouter::AwaitReturn(IChangeListener* listener) {
    std::shared_ptr<Entry> entry;
    {
        osa::MutexLock lock(_state->mutex);
        entry = _state->Find(listener);
    }
    if (entry != nullptr) {
        osa::MutexLock entryLock(entry->mutex);
        AwaitCall(*entry);
    }
}

ChangeRouter::Deliveries ChangeRouter::Prepare(const std::shared_ptr<const Change>& change) {
    State& state = *_state;
    Deliveries deliveries;
    osa::MutexLock lock(state.mutex);
    try {
        for (const auto& group : change->groups) {
            const std::string& name = group.first;
            state.index.ForEach(name, [&](Entry* entry) {
                if (entry->draft.empty()) {
                    deliveries.push_back({entry->shared_from_this(), {}, entry->stay});
                    entry->draft.push_back({change, {}});
                }
                CoveredNames& covered = entry->draft.front().covered;
                if (covered.empty() || covered.back() != &name) {
                    covered.push_back(&name);
                }
            });
        }
    } catch (...) {
        for (const Delivery& delivery : deliveries) {
            delivery.entry->draft.clear();
        }
        throw;
    }
    for (Delivery& delivery : deliveries) {
        delivery.item.splice(delivery.item.begin(), delivery.entry->draft);
    }
    return deliveries;
}

void ChangeRouter::Post(Deliveries& deliveries) noexcept {
    for (Delivery& delivery : deliveries) {
        osa::MutexLock lock(delivery.entry->mutex);
        if (delivery.entry->active && delivery.entry->stay == delivery.stay) {
            delivery.entry->queue.splice(delivery.entry->queue.end(), delivery.item);
        }
    }
}

ChangeRouter::Deliveries ChangeRouter::Queue(const std::shared_ptr<const Change>& change) {
    Deliveries deliveries = Prepare(change);
    Post(deliveries);
    return deliveries;
}

/// Calls the listener with what is queued for it, and forgets it when it was removed meanwhile.
void ChangeRouter::DeliverTo(const std::shared_ptr<Entry>& entry, std::exception_ptr& failure) {
    const bool removed = Drain(*entry, failure);
    const std::shared_ptr<State> state = removed ? entry->state.lock() : nullptr;
    if (state != nullptr) {
        osa::MutexLock lock(state->mutex);
        osa::MutexLock entryLock(entry->mutex);
        if (!entry->active && !entry->inCall) {
            state->Forget(entry);
        }
    }
}

void ChangeRouter::Deliver(const Deliveries& deliveries) {
    std::exception_ptr failure;
    for (const Delivery& delivery : deliveries) {
        DeliverTo(delivery.entry, failure);
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
}

void ChangeRouter::Settle(IChangeListener* listener) {
    std::shared_ptr<Entry> entry;
    std::uint64_t due = 0;
    {
        osa::MutexLock lock(_state->mutex);
        entry = _state->Find(listener);
        if (entry == nullptr) {
            return;
        }
        osa::MutexLock entryLock(entry->mutex);
        due = entry->callsDone + entry->queue.size() + (entry->inCall ? 1 : 0);
    }
    std::exception_ptr failure;
    do {
        DeliverTo(entry, failure);
    } while (!AwaitTold(*entry, due));
    if (failure) {
        std::rethrow_exception(failure);
    }
}

bool ChangeRouter::Concerns(std::string_view group) const {
    if (!HasListeners()) {
        return false;
    }
    osa::MutexLock lock(_state->mutex);
    return _state->index.Covers(group);
}

bool ChangeRouter::HasListeners() const noexcept {
    return _state->count.load(std::memory_order_relaxed) != 0;
}

std::size_t ChangeRouter::ListenerCount() const {
    return _state->count.load(std::memory_order_relaxed);
}

GroupNameMatcher ChangeRouter::Groups(const IChangeListener* listener) const {
    osa::MutexLock lock(_state->mutex);
    const std::shared_ptr<Entry> entry = _state->Find(listener);
    return entry == nullptr ? GroupNameMatcher() : entry->wanted;
}

GroupNameMatcher::Extent ChangeRouter::GroupsExtent(const IChangeListener* listener) const {
    osa::MutexLock lock(_state->mutex);
    const std::shared_ptr<Entry> entry = _state->Find(listener);
    return entry == nullptr ? GroupNameMatcher::Extent() : entry->extent;
}

GroupNameMatcher ChangeRouter::Lacking(const IChangeListener* listener, GroupNameMatcher groups) const {
    osa::MutexLock lock(_state->mutex);
    const std::shared_ptr<Entry> entry = _state->Find(listener);
    if (entry != nullptr) {
        groups.Remove(entry->wanted);
    }
    return groups;
}

GroupNameMatcher ChangeRouter::AllGroups() const {
    GroupNameMatcher all;
    osa::MutexLock lock(_state->mutex);
    for (const auto& [listener, entry] : _state->entries) {
        all.Add(entry->wanted);
    }
    return all;
}

}  // namespace zumra::settings::common
