#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "settings/client/IBackend.h"
#include "zumra/osa/Mutex.h"

namespace zumra::settings::client {

/// Stands between a store that tells of changes from the moment of a snapshot on, on any thread, and a
/// follower that is to see the snapshot first: holds changes back until it has.
class FollowerRelay final : public common::IChangeListener {
public:
    explicit FollowerRelay(IFollower* follower) : _follower(follower) {}

    /// Hands over the snapshot of what `scope` covers, then the changes held back. Once. Throws
    /// `std::bad_alloc` also when there was no memory to hold a change back.
    void Start(const common::GroupMap& snapshot, const IBackend::Matcher& scope);

    void OnChange(const std::shared_ptr<const common::Change>& change,
                  const common::CoveredNames& covered) override;

private:
    using Held = std::pair<std::shared_ptr<const common::Change>, common::CoveredNames>;

    IFollower* const _follower;
    osa::Mutex _mutex{"follower relay"};
    bool _started ZUMRA_GUARDED_BY(_mutex) = false;
    bool _missed ZUMRA_GUARDED_BY(_mutex) = false;
    std::vector<Held> _held ZUMRA_GUARDED_BY(_mutex);
};

}  // namespace zumra::settings::client
