#include "settings/client/FollowerRelay.h"

namespace zumra::settings::client {

void FollowerRelay::Start(const common::GroupMap& snapshot, const IBackend::Matcher& scope) {
    _follower->OnSnapshot(snapshot, scope);
    for (;;) {
        std::vector<Held> held;
        {
            osa::MutexLock lock(_mutex);
            if (_held.empty()) {
                _started = true;
                return;
            }
            held.swap(_held);
        }
        for (const auto& [change, covered] : held) {
            _follower->OnChange(change, covered);
        }
    }
}

void FollowerRelay::OnChange(const std::shared_ptr<const common::Change>& change,
                             const common::CoveredNames& covered) {
    {
        osa::MutexLock lock(_mutex);
        if (!_started) {
            _held.emplace_back(change, covered);
            return;
        }
    }
    _follower->OnChange(change, covered);
}

}  // namespace zumra::settings::client
