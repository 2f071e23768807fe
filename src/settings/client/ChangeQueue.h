#pragma once

#include <chrono>
#include <cstdint>
#include <set>
#include <string>

#include "settings/client/IBackend.h"
#include "settings/client/ReadyFlag.h"
#include "zumra/osa/Mutex.h"

namespace zumra::settings::client {

/// What a queue received since it was last asked.
struct Arrivals {
    bool any = false;
    /// `groups` is all that there is: what `scope` covers and `groups` lacks does not exist.
    bool whole = false;
    /// Each changed group as it is after the last of its changes; without a group where it was removed.
    common::GroupMap groups;
    /// Set when `whole`. Lacks what is wanted but could not be asked for yet.
    IBackend::Matcher scope;
};

/// Collects the changes of the groups that a watcher wants until the watcher takes them.
///
/// Changes of one group that follow each other are kept as the last of them, which has the same effect; and a
/// group that came and went unseen leaves nothing behind. So the queue's size is bounded by the groups that
/// exist and those that the taker knows, never by the number of changes.
///
/// Thread-safety: every operation may be called from any thread. None calls the client under a lock.
class ChangeQueue final : public IFollower {
public:
    /// Asks nothing yet. Starts as if something had arrived: the first update is still to be made.
    explicit ChangeQueue(IBackend& backend);
    ~ChangeQueue() override;
    ChangeQueue(const ChangeQueue&) = delete;
    ChangeQueue& operator=(const ChangeQueue&) = delete;

    /// Adds to what is wanted. Once started, follows it at once; when that fails it stays wanted, and
    /// `FollowWanted` tries again.
    void Want(const IBackend::Matcher& groups);
    /// Follows what is wanted and not yet followed. Afterwards the queue is started.
    void FollowWanted();
    [[nodiscard]] bool Started() const;
    [[nodiscard]] bool FollowsAllWanted() const;

    /// Makes the next `Take` say that something arrived.
    void Mark();
    /// When it throws, nothing was taken.
    [[nodiscard]] Arrivals Take();
    /// Takes back what could not be used: the next `Take` gives it, with what came meanwhile.
    void PutBack(Arrivals&& taken) noexcept;

    [[nodiscard]] bool Wait(std::chrono::milliseconds timeout) const { return _ready.Wait(timeout); }
    [[nodiscard]] int FileDescriptor() const noexcept { return _ready.FileDescriptor(); }

    void OnSnapshot(const common::GroupMap& groups, const IBackend::Matcher& scope) override;
    void OnChange(const std::shared_ptr<const common::Change>& change,
                  const common::CoveredNames& covered) override;

private:
    void Put(const std::string& name, const common::SharedGroup& group) ZUMRA_REQUIRES(_mutex);
    void RememberGiven() ZUMRA_REQUIRES(_mutex);
    void MissChange() noexcept ZUMRA_REQUIRES(_mutex);

    IBackend& _backend;
    mutable osa::Mutex _mutex{"ChangeQueue"};
    ReadyFlag _ready;
    IBackend::Matcher _wanted ZUMRA_GUARDED_BY(_mutex);
    std::uint64_t _wantedVersion ZUMRA_GUARDED_BY(_mutex) = 1;
    std::uint64_t _followedVersion ZUMRA_GUARDED_BY(_mutex) = 0;
    bool _known ZUMRA_GUARDED_BY(_mutex) = false;  // to the backend
    bool _any ZUMRA_GUARDED_BY(_mutex) = true;
    bool _whole ZUMRA_GUARDED_BY(_mutex) = false;
    IBackend::Matcher _scope ZUMRA_GUARDED_BY(_mutex);
    common::GroupMap _groups ZUMRA_GUARDED_BY(_mutex);
    std::set<std::string, std::less<>> _given ZUMRA_GUARDED_BY(_mutex);
};

}  // namespace zumra::settings::client
