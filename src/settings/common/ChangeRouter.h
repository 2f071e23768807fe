#pragma once

#include <memory>
#include <string>
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
/// listener.
///
/// Thread-safety: every operation may be called from any thread, also from within a listener. `Remove` of a
/// whole listener blocks until a call of it that runs on another thread has returned; called from within the
/// listener's own call it returns at once.
///
/// Cost: `Queue` grows with the names in the change, the lengths of those names and the listeners concerned;
/// not with the listeners there are.
class ChangeRouter {
public:
    struct Entry;
    using Deliveries = std::vector<std::shared_ptr<Entry>>;

    ChangeRouter();
    ~ChangeRouter();
    ChangeRouter(const ChangeRouter&) = delete;
    ChangeRouter& operator=(const ChangeRouter&) = delete;

    /// Adds to what the listener is told of. The listener is not owned.
    void Add(IChangeListener* listener, const GroupNameMatcher& groups);
    /// Takes names and patterns away from what the listener is told of; what is queued for it stays.
    void Remove(IChangeListener* listener, const GroupNameMatcher& groups);
    /// After this the listener is called no more and may be destroyed.
    void Remove(IChangeListener* listener);

    [[nodiscard]] Deliveries Queue(const std::shared_ptr<const Change>& change);
    static void Deliver(const Deliveries& deliveries);
    /// Whether anyone is concerned by this group: lets a caller spare making the change.
    [[nodiscard]] bool Concerns(std::string_view group) const;

    [[nodiscard]] std::size_t ListenerCount() const;
    /// Everything that all listeners asked for.
    [[nodiscard]] GroupNameMatcher AllGroups() const;

private:
    struct State;
    std::unique_ptr<State> _state;
};

}  // namespace zumra::settings::common
