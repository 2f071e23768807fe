#include "settings/client/FollowerRelay.h"

#include <new>

namespace zumra::settings::client {

void FollowerRelay::Start(const common::GroupMap& snapshot, const IBackend::Matcher& scope) {
    _follower->OnSnapshot(snapshot, scope);
    for (;;) {
        std::vector<Held> held;
        {
            osa::MutexLock lock(_mutex);
            if (_missed) {
                throw std::bad_alloc();
            }
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
            try {
                _held.emplace_back(change, covered);
            } catch (const std::bad_alloc&) {
                // Whom it was for hears of it; the one who made the change is not to blame.
                _missed = true;
            }
            return;
        }
    }
    _follower->OnChange(change, covered);
}

}  // namespace zumra::settings::client
