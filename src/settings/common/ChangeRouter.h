#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zumra/settings/common/GroupNameMatcher.h"
#include "zumra/settings/common/SharedGroup.h"

namespace zumra::settings::common {

/// The names of a change that concern one listener, ascending; they point into the change.
using CoveredNames = std::vector<const std::string*>;

/// Someone inside the library who is told of changes.
class IChangeListener {
public:
    virtual ~IChangeListener() = default;
    /// One change, called under no lock of the library, for one listener by one thread at a time.
    virtual void OnChange(const std::shared_ptr<const Change>& change, const CoveredNames& covered) = 0;
};

/// Finds out whom a change concerns and tells each of them once, in the order in which changes were queued.
///
/// Telling has two steps, so that the order can be fixed under the caller's lock and the listeners be called
/// outside it: `Queue` puts the change into the queue of each listener concerned; `Deliver` calls those that
/// no other thread is calling at the moment. A listener that another thread (or a caller further up this
/// stack) is calling is given the change by that thread right after what it has before it; nobody waits for a
/// listener. A listener's queue has no bound: one that cannot keep up with the writers must bound itself.
///
/// Where a failure between finding and telling must be impossible, `Queue` comes in two halves: `Prepare`
/// does all that can fail, `Post` cannot.
///
/// Thread-safety: every operation may be called from any thread, also from within a listener. `Remove` of a
/// whole listener blocks until a call of it that runs on another thread has returned; called from within the
/// listener's own call it returns at once. Two listeners that remove each other, each from within its own
/// call on a thread of its own, wait for ever.
///
/// A listener must not throw. If one does, the others are still told, the listener stays, and the first
/// exception comes out of `Deliver` on the thread that made the call, after everyone was told.
///
/// Cost: `Queue` grows with the names in the change, the lengths of prefix that are asked for, and the
/// listeners concerned; with the listeners that there are only by the logarithm.
///
///     {
///         osa::MutexLock lock(_mutex);
///         Apply(change);
///         deliveries = _router.Queue(change);
///     }
///     ChangeRouter::Deliver(deliveries);
class ChangeRouter {
public:
    struct Entry;
    /// A change on its way to one listener.
    struct Delivery {
        struct Item {
            std::shared_ptr<const Change> change;
            CoveredNames covered;
        };
        std::shared_ptr<Entry> entry;
        std::list<Item> item;  ///< one until posted, then none
        std::uint64_t stay;    ///< the listener's, to tell it from one that came back
    };
    using Deliveries = std::vector<Delivery>;

    ChangeRouter();
    /// Requires that no listener is being called. Listeners need not have been removed.
    ~ChangeRouter();
    ChangeRouter(const ChangeRouter&) = delete;
    ChangeRouter& operator=(const ChangeRouter&) = delete;

    /// Adds to what the listener is told of. The listener is not owned. On failure nothing changed.
    void Add(IChangeListener* listener, GroupNameMatcher groups);
    /// Takes names and patterns away from what the listener is told of; what is queued for it stays. The
    /// listener stays known, even when it is left with nothing, until it is removed.
    void Remove(IChangeListener* listener, const GroupNameMatcher& groups);
    /// After this the listener is called no more and may be destroyed. What was prepared or queued for it is
    /// dropped.
    void Remove(IChangeListener* listener);
    /// The two halves of `Remove`: after the first no call of it begins, unless it is added again; the second
    /// waits for a call that runs on another thread.
    void Drop(IChangeListener* listener);
    void AwaitReturn(IChangeListener* listener);

    [[nodiscard]] Deliveries Queue(const std::shared_ptr<const Change>& change);
    /// What `Queue` would put where. The change's names must not change any more; its groups and revision
    /// may until `Post`. The order of changes is that of `Post`.
    [[nodiscard]] Deliveries Prepare(const std::shared_ptr<const Change>& change);
    static void Post(Deliveries& deliveries) noexcept;
    static void Deliver(const Deliveries& deliveries);

    /// Returns when the listener has been told of everything posted before the call, which this call does
    /// itself where nobody is about it; waits for calls of the listener on another thread, and returns at
    /// once from within a call of it. Throws nothing but what the listener throws.
    void Settle(IChangeListener* listener);

    /// Whether anyone is concerned by this group: lets a caller spare making the change.
    [[nodiscard]] bool Concerns(std::string_view group) const;
    /// Whether there is any listener at all; costs no lock.
    [[nodiscard]] bool HasListeners() const noexcept;

    [[nodiscard]] std::size_t ListenerCount() const;
    /// What the listener asked for; nothing for one who is not known.
    [[nodiscard]] GroupNameMatcher Groups(const IChangeListener* listener) const;
    /// How much that is; costs nothing.
    [[nodiscard]] GroupNameMatcher::Extent GroupsExtent(const IChangeListener* listener) const;
    /// What the listener lacks of `groups`, entry by entry.
    [[nodiscard]] GroupNameMatcher Lacking(const IChangeListener* listener, GroupNameMatcher groups) const;
    /// Everything that all listeners asked for.
    [[nodiscard]] GroupNameMatcher AllGroups() const;

private:
    struct State;
    static void DeliverTo(const std::shared_ptr<Entry>& entry, std::exception_ptr& failure);

    std::shared_ptr<State> _state;
};

}  // namespace zumra::settings::common
